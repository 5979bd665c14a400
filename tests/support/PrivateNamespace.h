#pragma once

#include <functional>

// Runs `body` in a child process with a mount namespace of its own, as an ordinary user in a user
// namespace with it, so that what tests mount is seen by nobody else and goes away with them.
// /run is an empty file system in memory there, and TMPDIR names another. Gives the status that
// `body` returned, 1 with a line on standard error when the kernel refuses. Call it while the
// process has one thread.
int runInPrivateNamespace(const std::function<int()>& body);
