#include "platform/posix/NoSessionEnd.h"

namespace platform {

void NoSessionEnd::observe(std::function<void()> /*announced*/) {}

bool NoSessionEnd::hold(const std::string& /*why*/) { return false; }

void NoSessionEnd::release() {}

}  // namespace platform
