// The settings window: installs the platform's services on the toolkit's loop and shows it.

#include <QApplication>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "core/Identifiers.h"
#include "platform/linux/InstalledApplications.h"
#include "platform/linux/LinuxServices.h"
#include "platform/qt/drawing/QtAppearance.h"
#include "platform/qt/drawing/QtGraphics.h"
#include "platform/qt/settings/SettingsWindow.h"
#include "platform/qt/shell/QtMainLoop.h"

namespace {

bool hasDisplay() {
  for (const char* name : {"WAYLAND_DISPLAY", "DISPLAY", "QT_QPA_PLATFORM"})
    if (const char* value = std::getenv(name); value && *value) return true;
  return false;
}

int answer(std::string_view option) {
  if (option == "--version") {
    std::cout << "tarnvale-settings " TARNVALE_VERSION "\n";
    return EXIT_SUCCESS;
  }
  constexpr int kWrongUsage = 2;
  const bool help = option == "--help";
  (help ? std::cout : std::cerr) << "usage: tarnvale-settings [--help | --version]\n"
                                    "Opens the window in which RAM disks are configured.\n";
  return help ? EXIT_SUCCESS : kWrongUsage;
}

void install(const std::shared_ptr<platform::MainLoop>& loop) {
  platform::LinuxOptions options;
  options.identifier = kMainAppBundleId;
  options.information = {{"CFBundleName", "Tarnvale"},
                         {"CFBundleShortVersionString", TARNVALE_VERSION},
                         {"CFBundleVersion", TARNVALE_VERSION}};
  options.mainLoop = loop;
  auto services = platform::linuxServices(options);
  services.graphics = std::make_shared<platform::qt::QtGraphics>(
      platform::installedPath("share/tarnvale/images"), platform::applicationIcons());
  services.defaults = std::make_shared<platform::qt::QtAppearance>(services.defaults);
  platform::install(std::move(services));
  platform::qt::followAppearance();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) return answer(argv[1]);
  if (!hasDisplay()) {
    std::cerr << "tarnvale-settings: there is no display; 'tarnvale' sets everything too\n";
    return EXIT_FAILURE;
  }
  setenv("QT_XCB_GL_INTEGRATION", "none", 0);
  QApplication application(argc, argv);
  QApplication::setApplicationName("tarnvale-settings");
  QGuiApplication::setDesktopFileName(kMainAppBundleId);
  platform::qt::SingleWindow single;
  if (!single.claim()) return EXIT_SUCCESS;
  const auto loop = std::make_shared<platform::qt::QtMainLoop>();
  install(loop);
  platform::qt::SettingsWindow window;
  single.activated = [&window] { window.bringForward(); };
  window.show();
  loop->run();
  return EXIT_SUCCESS;
}
