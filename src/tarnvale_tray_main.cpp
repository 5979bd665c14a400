// The helper with a menu: the platform's services with those of the desktop's toolkit in them.

#include <fmt/format.h>
#include <unistd.h>

#include <QApplication>
#include <vector>

#include "menu/StatusMenuController.h"
#include "platform/linux/InstalledApplications.h"
#include "platform/qt/drawing/QtAppearance.h"
#include "platform/qt/drawing/QtGraphics.h"
#include "platform/qt/shell/MenuPicture.h"
#include "platform/qt/shell/QtAlerts.h"
#include "platform/qt/shell/QtMainLoop.h"
#include "platform/qt/shell/QtStatusBar.h"
#include "tarnvale_helper_run.h"

namespace {

constexpr int kUsage = 2;

// What the toolkit calls when it cannot go on, such as on a display that nobody answers at. The
// helper without a menu then takes the place of this one.
char** arguments = nullptr;
QtMessageHandler otherwise = nullptr;

void fallBack(QtMsgType type, const QMessageLogContext& context, const QString& text) {
  otherwise(type, context, text);
  if (type != QtFatalMsg) return;
  const std::string helper = platform::installedPath("bin/tarnvale-helper");
  std::string withoutMenu = "--no-menu";
  std::vector<char*> passed = {arguments[0], withoutMenu.data()};
  for (char** each = arguments + 1; *each != nullptr; ++each) passed.push_back(*each);
  passed.push_back(nullptr);
  execv(helper.c_str(), passed.data());
}

void describe(QApplication& application) {
  QApplication::setApplicationName(QStringLiteral("tarnvale-tray"));
  QApplication::setApplicationDisplayName(QStringLiteral("Tarnvale"));
  QApplication::setDesktopFileName(QStringLiteral("tarnvale-helper"));
  application.setQuitOnLastWindowClosed(false);
}

platform::Services desktopServices(platform::LinuxOptions options) {
  options.mainLoop = std::make_shared<platform::qt::QtMainLoop>();
  auto services = platform::linuxServices(options);
  services.alerts = std::make_shared<platform::qt::QtAlerts>();
  services.graphics = std::make_shared<platform::qt::QtGraphics>(
      platform::installedPath("share/tarnvale/images"), platform::applicationIcons());
  return services;
}

void installServices(bool verbose) {
  auto services = desktopServices(helper::linuxOptions(verbose));
  services.defaults = std::make_shared<platform::qt::QtAppearance>(services.defaults);
  platform::install(std::move(services));
}

// Without a display, and without asking anybody.
int drawPicture(int argc, char** argv, const platform::qt::PictureRequest& request) {
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  setenv("QT_SCALE_FACTOR", "2", 1);
  setenv("QT_LOGGING_RULES", "default.warning=false", 0);  // such as on the lack of a session
  const QApplication application(argc, argv);
  auto options = helper::linuxOptions(false);
  options.asksForAppearance = false;
  auto services = desktopServices(options);
  services.defaults = std::make_shared<platform::qt::QtAppearance>(services.defaults, request.dark);
  platform::install(std::move(services));
  platform::qt::followAppearance();
  const auto controller = StatusMenuController::initForDisplay();
  const auto problem = platform::qt::drawMenu(controller->statusMenu(), request);
  if (!problem) return EXIT_SUCCESS;
  fmt::print(stderr, "tarnvale: {} cannot be written: {}\n", request.file, *problem);
  return EXIT_FAILURE;
}

void runWithMenu(const app::HelperOptions& options) {
  std::weak_ptr<AppDelegate> running;
  const auto bar =
      std::make_shared<platform::qt::QtStatusBar>(platform::qt::trayOptionsOfSession(), [&running] {
        if (const auto delegate = running.lock()) delegate->terminate();
      });
  const auto delegate =
      std::make_shared<AppDelegate>(options, [bar] { return StatusMenuController::init(bar); });
  running = delegate;
  helper::run(delegate);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> given(argv + (argc > 0 ? 1 : 0), argv + argc);
  if (const auto request = platform::qt::pictureRequest(given))
    return drawPicture(argc, argv, *request);
  const auto options = app::helperOptions(given);
  if (options.unknown) {
    fmt::print(stderr, "tarnvale-tray: unknown argument {}\n", *options.unknown);
    return kUsage;
  }
  setenv("QT_XCB_GL_INTEGRATION", "none", 1);  // GL would cost more memory than all the rest
  arguments = argv;
  otherwise = qInstallMessageHandler(fallBack);
  QApplication application(argc, argv);
  qInstallMessageHandler(nullptr);
  describe(application);
  installServices(options.verbose);
  runWithMenu(options);
  return EXIT_SUCCESS;
}
