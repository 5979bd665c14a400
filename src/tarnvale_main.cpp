// The command line: installs the platform's services and starts.

#include <string>
#include <vector>

#include "cli/CommandLine.h"
#include "core/Identifiers.h"
#include "platform/linux/LinuxServices.h"

namespace {

constexpr std::int64_t kWholeLog = 0;
constexpr std::int64_t kNoLog = 6;  // above every severity: the command says what went wrong itself

platform::LinuxOptions optionsFor(const std::vector<std::string>& args) {
  platform::LinuxOptions options;
  options.identifier = kMainAppBundleId;
  options.standardErrorSeverity = cli::wantsLog(args) ? kWholeLog : kNoLog;
  options.asksForAppearance = false;
  options.information = {{"CFBundleName", "tarnvale"},
                         {"CFBundleShortVersionString", TARNVALE_VERSION},
                         {"CFBundleVersion", TARNVALE_VERSION}};
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
  platform::install(platform::linuxServices(optionsFor(args)));
  cli::Streams streams = cli::processStreams();
  return cli::run(args, streams);
}
