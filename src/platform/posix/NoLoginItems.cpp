#include "platform/posix/NoLoginItems.h"

#include <cerrno>

namespace platform {
namespace {

SystemError notAvailable() {
  return {"POSIX", ENOTSUP, "login items are not available yet on this system"};
}

}  // namespace

Result<std::vector<LoginItem>> NoLoginItems::snapshot() const { return notAvailable(); }

Outcome NoLoginItems::insertHiddenAtEnd(const std::string& /*path*/) { return notAvailable(); }

Outcome NoLoginItems::remove(const LoginItem& /*item*/) { return notAvailable(); }

}  // namespace platform
