#include "ramdisk/RegistryLock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>

#include "core/QVLog.h"
#include "platform/Services.h"

namespace {

using platform::services;

// Short, because nobody stands in line: who asks more often has better chances.
constexpr std::chrono::milliseconds kPass(2);

bool isUnsupported(std::int64_t code) {
  constexpr std::array kCodes = {ENOLCK, ENOTSUP, EOPNOTSUPP, ENOSYS};  // two may be the same
  return std::find(kCodes.begin(), kCodes.end(), code) != kCodes.end();
}

}  // namespace

platform::Result<RegistryLock> RegistryLock::take(const std::string& registry,
                                                  std::chrono::milliseconds patience) {
  const std::string file = fileFor(registry);
  auto lock = services().files->lock(file);
  for (auto waited = kPass * 0; !lock && waited < patience; waited += kPass) {
    if (lock.error().code != EWOULDBLOCK) break;
    services().mainLoop->sleep(kPass);
    lock = services().files->lock(file);
  }
  if (lock) return RegistryLock(*lock);
  if (!isUnsupported(lock.error().code)) return lock.error();
  QVLogWarning("QVRamDiskEntries", "the registry is changed without a lock: {}", lock.error().text);
  return RegistryLock(nullptr);
}
