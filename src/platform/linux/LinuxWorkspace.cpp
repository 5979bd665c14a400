#include "platform/linux/LinuxWorkspace.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include "extensions/PathExtension.h"
#include "extensions/Text.h"
#include "leaf/Descriptor.h"
#include "platform/linux/Bus.h"
#include "platform/posix/PosixError.h"
#include "platform/posix/PosixFiles.h"

namespace platform {

// --- Starting what outlives us
//
// Two forks: the process between ends at once, so that the program belongs to the system and not to
// us, and becomes the leader of a session first, so that the terminal and its signals are not the
// program's. The execution's failure comes back through a pipe that the execution itself closes:
// nothing read is success.

namespace {

// No signal of ours reaches the new processes before they have settings of their own.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former_);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t former_{};
};

// All that the new processes use, made before they are. Between fork and execution nothing may be
// called that takes a lock or memory: another thread may have held it.
struct Start {
  std::vector<char*> arguments;
  const char* directory;
  int report;  // takes the errno of what failed; closed by the execution
};

void resetSignals() {
  struct sigaction usual {};
  usual.sa_handler = SIG_DFL;
  for (int signal = 1; signal < NSIG; ++signal) sigaction(signal, &usual, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

void closeStreams() {
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
  close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
}

[[noreturn]] void fail(const Start& start) {
  const int code = errno;
  (void)!write(start.report, &code, sizeof code);
  _exit(1);
}

[[noreturn]] void becomeProgram(const Start& start) {
  resetSignals();
  closeStreams();
  if (chdir(start.directory) != 0) (void)!chdir("/");
  execv(start.arguments.front(), start.arguments.data());
  fail(start);
}

// The process between: its end hands the program over to the system.
[[noreturn]] void startAndEnd(const Start& start) {
  setsid();
  const pid_t program = fork();
  if (program == 0) becomeProgram(start);
  if (program < 0) fail(start);
  _exit(0);
}

void reap(pid_t process) {
  while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
  }
}

// Waits for the execution. 0, or the errno of what failed.
int reportedCode(int reading) {
  int code = 0;
  ssize_t got = 0;
  do got = read(reading, &code, sizeof code);
  while (got < 0 && errno == EINTR);
  return got == static_cast<ssize_t>(sizeof code) ? code : 0;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Starts a program that is nobody's child: it outlives this one and leaves nothing to be reaped.
// It works in `directory`, or in "/" where that cannot be entered, reads and writes nothing, and
// gets no descriptor and no signal setting of ours. `command` is the program's absolute path and
// its arguments; no shell sees them. An error names what could not be started.
Outcome startDetached(const std::vector<std::string>& command, const std::string& directory) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return lastPosixError("pipe");
  const Descriptor reading(ends[0]);
  Descriptor writing(ends[1]);
  auto texts = command;
  const Start start{pointersTo(texts), directory.c_str(), writing.get()};
  const BlockedSignals blocked;
  const pid_t between = fork();
  if (between < 0) return lastPosixError("fork");
  if (between == 0) startAndEnd(start);
  writing.reset();
  reap(between);
  const int code = reportedCode(reading.get());
  if (code != 0) return posixError(code, command.front());
  return {};
}

}  // namespace

// --- The service

namespace {

constexpr char kFileManager[] = "org.freedesktop.FileManager1";
constexpr char kFileManagerPath[] = "/org/freedesktop/FileManager1";

class BusError {
 public:
  BusError() = default;
  ~BusError() { sd_bus_error_free(&error_); }
  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;

  sd_bus_error* get() { return &error_; }
  std::string text() const { return error_.message == nullptr ? "" : error_.message; }

 private:
  sd_bus_error error_ = SD_BUS_ERROR_NULL;
};

// What opens anything, the best first. Each knows the desktop that it runs on.
std::vector<std::string> openingCommand(const std::vector<std::string>& executables) {
  if (const auto opener = findProgram("xdg-open", executables)) return {*opener};
  if (const auto opener = findProgram("gio", executables)) return {*opener, "open"};
  return {};
}

bool isUrl(const std::string& text) {
  const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  const auto rest = std::find_if_not(text.begin(), text.end(), [&](char c) {
    return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
  });
  return rest != text.begin() && isLetter(text.front()) && rest != text.end() && *rest == ':';
}

std::optional<struct statx> factsOf(const std::string& path) {
  struct statx facts {};
  if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_TYPE, &facts) != 0)
    return std::nullopt;
  return facts;
}

}  // namespace

bool LinuxWorkspace::open(const std::string& path) {
  if (!path.starts_with('/') || PosixFiles().kind(path) == FileKind::Missing) return false;
  return isApplication(path) ? static_cast<bool>(launch(path, {})) : handOver(path);
}

// A file is handed over as a path: not every opener undoes the numbers in a URL.
bool LinuxWorkspace::openURL(const std::string& url) {
  if (const auto path = extensions::pathOfFileUrl(url)) return open(*path);
  return isUrl(url) && handOver(url);
}

bool LinuxWorkspace::handOver(const std::string& target) const {
  auto command = openingCommand(facts_.applications.executables);
  if (command.empty()) return false;
  command.push_back(target);
  return static_cast<bool>(startDetached(command, facts_.home));
}

// Openers show a program as a file. Only those that were asked for as applications are started:
// what lies on a disk of the user's is never run.
bool LinuxWorkspace::isApplication(const std::string& path) const {
  const auto& names = namedApplications();
  return std::any_of(names.begin(), names.end(), [&](const std::string& identifier) {
    const auto application = installedApplication(identifier, facts_.applications);
    return application && application->executable == path;
  });
}

Outcome LinuxWorkspace::launch(const std::string& applicationPath,
                               const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {applicationPath};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return startDetached(command, facts_.home);
}

Outcome LinuxWorkspace::showInformation(const std::string& path) {
  BusConnection bus;
  if (const int code = openBus(facts_.sessionBus, BusOwner::Anybody, bus); code != 0)
    return posixError(code, "the session bus");
  const auto limit = static_cast<std::uint64_t>(facts_.fileManagerLimit.count());
  sd_bus_set_method_call_timeout(bus.get(), limit);
  BusError error;
  const int code = sd_bus_call_method(bus.get(), kFileManager, kFileManagerPath, kFileManager,
                                      "ShowItemProperties", error.get(), nullptr, "ass", 1U,
                                      extensions::fileUrl(path).c_str(), "");
  if (code >= 0) return {};
  auto failure = posixError(-code, kFileManager);
  if (!error.text().empty()) failure.text += " (" + error.text() + ")";
  return failure;
}

// Nothing is hidden of a name here, and names of folders are not translated.
std::string LinuxWorkspace::displayName(const std::string& path) const {
  const auto end = path.find_last_not_of('/');
  if (end == std::string::npos) return path.empty() ? "" : "/";
  const std::string whole = path.substr(0, end + 1);
  std::string name = whole.substr(whole.rfind('/') + 1);
  if (extensions::isValidUtf8(name)) return name;
  return extensions::utf8FromUtf16(extensions::utf16FromUtf8(name));
}

bool LinuxWorkspace::isDirectory(const std::string& path) const {
  const auto facts = factsOf(path);
  return facts && S_ISDIR(facts->stx_mode);
}

bool LinuxWorkspace::isVolume(const std::string& path) const {
  const auto facts = factsOf(path);
  return facts && (facts->stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

// No desktop here has labels of its own that others know. These are what people expect to choose
// from; nothing gives a file one yet. The tags that some file managers keep in the attribute
// "user.xdg.tags" are copied and saved with the files like every attribute.
std::vector<FileLabel> LinuxWorkspace::fileLabels() const {
  return {{"None", 0xFFFFFF}, {"Gray", 0xA5A5A8},   {"Green", 0x9BD056}, {"Purple", 0xC08BE0},
          {"Blue", 0x5DA9F6}, {"Yellow", 0xF6D351}, {"Red", 0xF96A5F},   {"Orange", 0xF8A94B}};
}

}  // namespace platform
