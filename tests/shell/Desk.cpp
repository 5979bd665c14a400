#include "tests/shell/Desk.h"

#include <QEventLoop>
#include <QTimer>

namespace {

constexpr int kMilliseconds = 10'000;

// Ends when the test program does, before statics go.
class DeskEnvironment : public testing::Environment {
 public:
  void SetUp() override { held = std::make_unique<Desk>(); }
  void TearDown() override { held.reset(); }
  static inline std::unique_ptr<Desk> held;
};

[[maybe_unused]] const auto* const kEnvironment =
    testing::AddGlobalTestEnvironment(std::make_unique<DeskEnvironment>().release());

}  // namespace

Desk& Desk::get() { return *DeskEnvironment::held; }

Desk::Desk() {
  setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  setenv("QT_XCB_GL_INTEGRATION", "none", 1);
  static int count = 1;
  static std::string name = "shell";
  static std::array<char*, 2> arguments = {name.data(), nullptr};
  platform::install(DoubleServices("/nonexistent").services());
  application_.emplace(count, arguments.data());
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setApplicationDisplayName(QStringLiteral("Tarnvale"));
}

bool DeskTest::until(const std::function<bool()>& isSo) {
  QEventLoop loop;
  QTimer looking;
  bool was = false;
  QObject::connect(&looking, &QTimer::timeout, [&] {
    if (was = isSo(); was) loop.quit();
  });
  QTimer::singleShot(kMilliseconds, &loop, &QEventLoop::quit);
  looking.start(2);
  loop.exec();
  return was;
}
