#include "tests/shell/Desk.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QEventLoop>
#include <QTimer>
#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>

#include "platform/posix/FileDescriptor.h"
#include "tests/support/DoubleServices.h"

namespace {

constexpr int kTelling = 9;
constexpr int kMilliseconds = 10'000;

pid_t spawned(std::vector<std::string> command, int telling) {
  std::vector<char*> arguments;
  for (auto& part : command) arguments.push_back(part.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, telling, kTelling);
  for (const int output : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&actions, output, "/dev/null", O_WRONLY, 0);
  pid_t made = 0;
  EXPECT_EQ(posix_spawnp(&made, arguments[0], &actions, nullptr, arguments.data(), environ), 0)
      << command.front();
  posix_spawn_file_actions_destroy(&actions);
  return made;
}

// Ends when the test program does, before statics go.
class DeskEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    struct Made : Desk {};
    held = std::make_unique<Made>();
  }
  void TearDown() override { held.reset(); }
  static inline std::unique_ptr<Desk> held;
};

[[maybe_unused]] const auto* const kEnvironment =
    testing::AddGlobalTestEnvironment(std::make_unique<DeskEnvironment>().release());

}  // namespace

Running::Running(std::vector<std::string> command, bool tells) {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  const platform::FileDescriptor reading(ends[0]);
  platform::FileDescriptor writing(ends[1]);
  process_ = spawned(std::move(command), writing.get());
  writing.reset();
  std::array<char, 64> text{};
  if (!tells) return;
  while (told_.find('\n') == std::string::npos) {
    const auto got = read(reading.get(), text.data(), text.size());
    if (got <= 0) break;
    told_.append(text.data(), static_cast<std::size_t>(got));
  }
  told_.resize(std::min(told_.find('\n'), told_.size()));
}

Running::~Running() {
  kill(process_, SIGTERM);
  waitpid(process_, nullptr, 0);
}

Desk& Desk::get() { return *DeskEnvironment::held; }

Desk::Desk() : bus(std::make_unique<PrivateBus>()) {
  platform::install(DoubleServices("/nonexistent").services());  // a desktop without preferences
  display_ = std::make_unique<Running>(
      std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(kTelling), "-screen", "0",
                               "1280x1024x24", "-nolisten", "tcp", "-noreset"},
      true);
  EXPECT_FALSE(display_->told().empty()) << "no display";
  setenv("DISPLAY", (":" + display_->told()).c_str(), 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", bus->address().c_str(), 1);
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  setenv("QT_XCB_GL_INTEGRATION", "none", 1);
  static int count = 1;
  static std::string name = "shell";
  static std::array<char*, 2> arguments = {name.data(), nullptr};
  application_ = std::make_unique<QApplication>(count, arguments.data());
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setApplicationDisplayName(QStringLiteral("Tarnvale"));
}

Desk::~Desk() {
  application_.reset();
  display_.reset();
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

void DeskTest::user(const std::string& does) {
  EXPECT_EQ(std::system(("xdotool " + does + " >/dev/null 2>&1").c_str()), 0) << does;
}

void DeskTest::moveTo(QPoint point) {
  user("mousemove " + std::to_string(point.x()) + " " + std::to_string(point.y()));
}

void DeskTest::clickAt(QPoint point, int button) {
  moveTo(point);
  user("click " + std::to_string(button));
}

double processorMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double residentMegabytes() {
  std::ifstream facts("/proc/self/statm");
  double total = 0;
  double resident = 0;
  facts >> total >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}
