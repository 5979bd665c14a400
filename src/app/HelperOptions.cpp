#include "app/HelperOptions.h"

#include "core/Identifiers.h"

namespace app {

const char kHelperHelp[] =
    R"(Usage: tarnvale-helper [--no-menu] [--service] [FromApp]

Mounts the RAM disks that are wanted at login. Then it stays for the menu-bar item, and to save
what is mounted when the session or the machine ends; where nothing is to be saved it ends.

  --no-menu   never show the menu-bar item
  --service   stay in any case, without a menu
  --verbose   show the log too
  FromApp     as the last argument: mount nothing
  --version   print the version and end
  --help      print this and end
)";

namespace {

bool take(const std::string& argument, HelperOptions& options) {
  if (argument == "--no-menu") return !(options.menu = false);
  if (argument == kServiceArgument) return options.service = true;
  if (argument == "--verbose" || argument == "-v") return options.verbose = true;
  if (argument == "--version") return options.version = true;
  if (argument == "--help" || argument == "-h") return options.help = true;
  return false;
}

}  // namespace

HelperOptions helperOptions(const std::vector<std::string>& args) {
  HelperOptions options;
  options.fromApp = !args.empty() && args.back() == kLaunchedByApp;
  const std::size_t count = args.size() - (options.fromApp ? 1 : 0);
  for (std::size_t i = 0; i < count; ++i)
    if (!take(args[i], options) && !options.unknown) options.unknown = args[i];
  return options;
}

}  // namespace app
