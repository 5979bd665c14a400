// The helper: installs the platform's services and starts.

#include <fmt/format.h>

#include <cstdlib>
#include <memory>

#include "app/AppDelegate.h"
#include "core/Identifiers.h"
#include "platform/linux/LinuxServices.h"
#include "platform/posix/TerminationSignals.h"

namespace {

constexpr int kUsage = 2;
constexpr std::int64_t kWholeLog = 0;

platform::LinuxOptions linuxOptions(bool verbose) {
  platform::LinuxOptions options;
  options.identifier = kHelperBundleId;
  if (verbose) options.standardErrorSeverity = kWholeLog;
  options.information = {{"CFBundleName", "Tarnvale-Helper"},
                         {"CFBundleShortVersionString", TARNVALE_VERSION},
                         {"CFBundleVersion", TARNVALE_VERSION}};
  return options;
}

// Ends without destructors when an action that had its time is still at work.
int runHelper(const app::HelperOptions& options) {
  platform::install(platform::linuxServices(linuxOptions(options.verbose)));
  auto& loop = *platform::services().mainLoop;
  const auto delegate = std::make_shared<AppDelegate>(options);
  const platform::TerminationSignals signals([&] { loop.post([&] { delegate->terminate(); }); });
  loop.post([&] { delegate->applicationDidFinishLaunching(); });
  loop.run();
  if (delegate->hasLeftovers()) std::_Exit(EXIT_SUCCESS);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = app::helperOptions({argv + (argc > 0 ? 1 : 0), argv + argc});
  if (options.unknown) {
    fmt::print(stderr, "tarnvale-helper: unknown argument {}\n", *options.unknown);
    return kUsage;
  }
  if (options.help) fmt::print("{}", app::kHelperHelp);
  if (options.version) fmt::print("tarnvale-helper {}\n", TARNVALE_VERSION);
  if (options.help || options.version) return EXIT_SUCCESS;
  return runHelper(options);
}
