// The helper without a toolkit: installs the platform's services and starts. Where a menu is wanted
// it becomes the helper that has one.

#include <fmt/format.h>
#include <unistd.h>

#include <csignal>
#include <vector>

#include "core/QVLog.h"
#include "platform/linux/InstalledApplications.h"
#include "tarnvale_helper_run.h"

namespace {

constexpr int kUsage = 2;

bool hasDisplay() {
  for (const char* name : {"WAYLAND_DISPLAY", "DISPLAY"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return true;
  }
  return false;
}

// Does not return where that program starts: the process is it then, with the same arguments.
void becomeTray(char** argv) {
  const std::string tray = platform::installedPath("libexec/tarnvale/tarnvale-tray");
  std::vector<char*> arguments;
  for (char** each = argv; *each != nullptr; ++each) arguments.push_back(*each);
  arguments.push_back(nullptr);
  const auto former = std::signal(SIGPIPE, SIG_DFL);  // what is ignored stays so in it
  execv(tray.c_str(), arguments.data());
  std::signal(SIGPIPE, former);
  QVLogError("main", "{} cannot be run, there is no menu", tray);
}

AppDelegate::MenuFactory menuFactory(char** argv) {
  return [argv]() -> std::shared_ptr<StatusMenuController> {
    if (hasDisplay()) becomeTray(argv);
    return nullptr;
  };
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
  platform::install(platform::linuxServices(helper::linuxOptions(options.verbose)));
  helper::run(std::make_shared<AppDelegate>(options, menuFactory(argv)));
  return EXIT_SUCCESS;
}
