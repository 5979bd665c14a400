#pragma once

#include <functional>

#include "platform/Result.h"

// Runs the work on a thread of its own that nothing waits for. A system that has no thread left to
// give is told as a failure, logged, and the work is not run; what then is the caller's to say.
platform::Failure startDetached(std::function<void()> work);
