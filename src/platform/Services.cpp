#include "platform/Services.h"

#include <cstdlib>
#include <optional>
#include <utility>

namespace platform {
namespace {

std::optional<Services>& installed() {
  static std::optional<Services> instance;
  return instance;
}

}  // namespace

void install(Services services) { installed() = std::move(services); }

const Services& services() {
  if (!installed()) std::abort();
  return *installed();
}

}  // namespace platform
