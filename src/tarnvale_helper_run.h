#pragma once
// What the helper with a menu and the one without have in common. For their mains only.

#include <cstdlib>
#include <memory>
#include <utility>

#include "app/AppDelegate.h"
#include "core/Identifiers.h"
#include "platform/linux/LinuxServices.h"
#include "platform/posix/TerminationSignals.h"

namespace helper {

inline platform::LinuxOptions linuxOptions(bool verbose) {
  constexpr std::int64_t kWholeLog = 0;
  platform::LinuxOptions options;
  options.identifier = kHelperBundleId;
  if (verbose) options.standardErrorSeverity = kWholeLog;
  options.information = {{"CFBundleName", "Tarnvale-Helper"},
                         {"CFBundleShortVersionString", TARNVALE_VERSION},
                         {"CFBundleVersion", TARNVALE_VERSION}};
  return options;
}

// On the installed services. Ends without destructors when an action that had its time is still at
// work.
inline void run(const std::shared_ptr<AppDelegate>& delegate) {
  auto& loop = *platform::services().mainLoop;
  const platform::TerminationSignals signals([&] { loop.post([&] { delegate->terminate(); }); });
  loop.post([&] { delegate->applicationDidFinishLaunching(); });
  loop.run();
  if (delegate->hasLeftovers()) std::_Exit(EXIT_SUCCESS);
}

}  // namespace helper
