#pragma once

#include <chrono>
#include <string>

#include "platform/Result.h"
#include "platform/posix/Environment.h"

namespace platform {

// Where the environment says that the user's file manager listens, as an address of D-Bus; empty
// for nowhere.
std::string fileManagerBus(const Environment& environment);

// Asks the file manager for the information window of an item, by org.freedesktop.FileManager1, and
// waits until it has accepted, at most `limit`. The bus starts a file manager that does not run.
Outcome showItemProperties(const std::string& bus, const std::string& path,
                           std::chrono::microseconds limit);

}  // namespace platform
