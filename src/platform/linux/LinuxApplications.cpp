#include "platform/linux/LinuxApplications.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <utility>

#include "leaf/Descriptor.h"
#include "platform/linux/KeyedText.h"
#include "platform/linux/Processes.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/PosixFiles.h"

namespace platform {

// --- A program's files

namespace {

namespace fs = std::filesystem;

// Where a program's processes have their executables: the file itself, links resolved, or, for one
// that another file starts, a file of like name beside it or in a folder that bears its name.
struct ProgramFiles {
  std::string executable;  // empty when it is the launcher of many programs
  std::vector<std::string> folders;
  bool foldersAreItsOwn = false;  // so that everything below them belongs to it

  bool hold(const std::string& path) const;
};

// Folders that programs share. Anything else beside an executable most likely belongs to it.
bool isShared(const fs::path& folder) {
  const auto name = folder.filename();
  return name == "bin" || name == "sbin" || name == "games" || folder == folder.root_path();
}

bool isBelow(const std::string& path, const std::string& folder) {
  return path.starts_with(folder) && path.size() > folder.size() && path[folder.size()] == '/';
}

// "google-chrome" starts "chrome", "firefox" starts "firefox-bin". Who ends the processes of a
// program must not meet another that happens to lie beside it.
bool haveLikeNames(const fs::path& one, const fs::path& other) {
  constexpr std::size_t kLeast = 4;
  std::string shorter = one.filename();
  std::string longer = other.filename();
  if (shorter.size() > longer.size()) shorter.swap(longer);
  return shorter.size() >= kLeast && longer.find(shorter) != std::string::npos;
}

void addIfFolder(std::vector<std::string>& folders, const fs::path& folder) {
  if (PosixFiles().kind(folder) == FileKind::Directory) folders.push_back(folder);
}

bool ProgramFiles::hold(const std::string& path) const {
  if (path == executable) return true;
  return std::any_of(folders.begin(), folders.end(), [&](const std::string& folder) {
    if (foldersAreItsOwn) return isBelow(path, folder);
    return fs::path(path).parent_path() == folder && haveLikeNames(path, executable);
  });
}

// "/usr/bin/x" may be a script for "/usr/lib/x/x", and "/snap/bin/x" a link to the launcher of all
// snaps, whose files lie in "/snap/x".
ProgramFiles filesOfProgram(const std::string& executable) {
  std::error_code error;
  const fs::path link(executable);
  fs::path real = fs::canonical(link, error);
  if (error) real = link;
  const fs::path above = link.parent_path().parent_path();
  ProgramFiles files;
  if (real.filename() == "snap") {
    addIfFolder(files.folders, above / link.filename());
    files.foldersAreItsOwn = true;
    return files;
  }
  files.executable = real;
  if (!isShared(real.parent_path())) files.folders.push_back(real.parent_path());
  if (!isShared(link.parent_path())) return files;
  for (const char* library : {"lib", "lib64"}) {
    addIfFolder(files.folders, above / library / link.filename());
    if (real.filename() != link.filename())
      addIfFolder(files.folders, above / library / real.filename());
  }
  return files;
}

}  // namespace

// --- Its version, by asking it

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostOutput = 64U << 10U;  // bytes; a version is in the first line

class FileActions {
 public:
  FileActions() { posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

// In a process group of its own, with no signal blocked.
class GroupLeader {
 public:
  GroupLeader() {
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
  }
  ~GroupLeader() { posix_spawnattr_destroy(&attributes_); }
  GroupLeader(const GroupLeader&) = delete;
  GroupLeader& operator=(const GroupLeader&) = delete;
  posix_spawnattr_t* get() { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

std::optional<pid_t> startAsking(const std::string& executable, int output) {
  FileActions actions;
  GroupLeader attributes;
  posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(actions.get(), output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(actions.get(), STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string program = executable;
  std::string question = "--version";
  const std::array<char*, 3> arguments = {program.data(), question.data(), nullptr};
  pid_t child = 0;
  if (posix_spawn(&child, program.c_str(), actions.get(), attributes.get(), arguments.data(),
                  environ) != 0)
    return std::nullopt;
  return child;
}

// false at the end of the time; true once all of the output is there, or enough of it.
bool readUntil(Clock::time_point deadline, int descriptor, std::string& text) {
  std::array<char, 4096> buffer{};
  while (text.size() < kMostOutput) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd waiting{descriptor, POLLIN, 0};
    const int ready = left > 0 ? poll(&waiting, 1, static_cast<int>(left)) : 0;
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    const ssize_t got = read(descriptor, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
  return true;
}

// Once it has answered, or the time is up, nothing of it is wanted any more.
void endGroup(pid_t child) {
  kill(-child, SIGKILL);
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// "115.3.0" of "Some Browser 115.3.0esr (64-bit)".
std::optional<std::string> firstDottedNumber(std::string_view text) {
  while (true) {
    const auto start = text.find_first_of("0123456789");
    if (start == std::string_view::npos) return std::nullopt;
    text.remove_prefix(start);
    auto number = text.substr(0, text.find_first_not_of("0123456789."));
    text.remove_prefix(number.size());
    while (!isDigit(number.back())) number.remove_suffix(1);
    if (number.find('.') != std::string_view::npos) return std::string(number);
  }
}

}  // namespace

std::optional<std::string> askedVersion(const std::string& executable,
                                        std::chrono::milliseconds limit) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
  const Descriptor reading(ends[0]);
  Descriptor writing(ends[1]);
  const auto child = startAsking(executable, writing.get());
  writing = Descriptor();
  if (!child) return std::nullopt;
  std::string output;
  const bool answered = readUntil(Clock::now() + limit, reading.get(), output);
  endGroup(*child);
  return answered ? firstDottedNumber(output) : std::nullopt;
}

// --- The service

namespace {

constexpr std::chrono::seconds kVersionLimit(5);

std::string stampOf(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return ";";
  return std::to_string(info.st_mtim.tv_sec) + "." + std::to_string(info.st_mtim.tv_nsec) + ";";
}

// An update changes the executable, or the folder in which it puts the new one.
std::string stampOf(const std::string& path, const ProgramFiles& files) {
  std::string stamp = stampOf(path);
  for (const std::string& folder : files.folders) stamp += stampOf(folder);
  return stamp;
}

// One family of browsers writes its version into a file beside the executable.
std::optional<std::string> writtenVersion(const ProgramFiles& files) {
  for (const std::string& folder : files.folders) {
    const auto text = readWholeFile(folder + "/application.ini");
    const auto version = text ? valueOfLine(*text, "Version", '=') : std::nullopt;
    if (version && !version->empty()) return std::string(*version);
  }
  return std::nullopt;
}

// The processes of a flatpak run what its sandbox shows them, and are known by their control group.
bool isOfFlatpak(const Process& process, const std::string& name) {
  const auto groups = readWholeFile("/proc/" + std::to_string(process.identifier) + "/cgroup");
  return groups && groups->find("/app-flatpak-" + name + "-") != std::string::npos;
}

std::function<bool(const Process&)> matcher(std::string_view bundleIdentifier,
                                            const InstalledApplication& application) {
  if (auto files = ownExecutables(bundleIdentifier); !files.empty())
    return [own = std::move(files)](const Process& process) {
      return std::find(own.begin(), own.end(), process.executable) != own.end();
    };
  const fs::path executable(application.executable);
  if (executable.parent_path().parent_path().filename() == "exports")
    return [name = executable.filename().string()](const Process& process) {
      return isOfFlatpak(process, name);
    };
  return [files = filesOfProgram(application.executable)](const Process& process) {
    return files.hold(process.executable);
  };
}

std::vector<std::string> argumentsOf(const Process& process) {
  std::istringstream line(ProcessFolder(std::to_string(process.identifier)).text("cmdline"));
  std::vector<std::string> arguments;
  for (std::string argument; std::getline(line, argument, '\0');) arguments.push_back(argument);
  if (!arguments.empty()) arguments.erase(arguments.begin());
  return arguments;
}

}  // namespace

std::optional<InstalledApplication> LinuxApplications::installed(
    std::string_view bundleIdentifier) const {
  if (auto own = ownProgram(bundleIdentifier)) return own;
  return installedApplication(bundleIdentifier, folders_);
}

std::optional<std::string> LinuxApplications::pathOfApplication(
    std::string_view bundleIdentifier) const {
  const auto application = installed(bundleIdentifier);
  if (!application) return std::nullopt;
  return application->executable;
}

std::optional<std::string> LinuxApplications::information(const std::string& applicationPath,
                                                          std::string_view key) const {
  if (key != "CFBundleShortVersionString" && key != "CFBundleVersion") return std::nullopt;
  const ProgramFiles files = filesOfProgram(applicationPath);
  if (auto version = writtenVersion(files)) return version;
  return askedVersionOnce(applicationPath, stampOf(applicationPath, files));
}

// A failure is not kept: a machine that is busy starting up is slow to answer once.
std::optional<std::string> LinuxApplications::askedVersionOnce(const std::string& path,
                                                               const std::string& stamp) const {
  {
    const std::lock_guard lock(mutex_);
    const auto kept = versions_.find(path);
    if (kept != versions_.end() && kept->second.stamp == stamp) return kept->second.version;
  }
  auto version = askedVersion(path, kVersionLimit);
  const std::lock_guard lock(mutex_);
  if (version) versions_[path] = {stamp, *version};
  return version;
}

std::vector<RunningApplication> LinuxApplications::running(
    std::string_view bundleIdentifier) const {
  const auto application = installed(bundleIdentifier);
  if (!application) return {};
  std::vector<RunningApplication> found;
  for (const Process& process :
       leadingProcesses(ownProcesses(), matcher(bundleIdentifier, *application))) {
    auto name = application->name.empty() ? std::nullopt : std::optional(application->name);
    found.push_back(
        {process.identifier, std::string(bundleIdentifier), std::move(name), argumentsOf(process)});
  }
  return found;
}

bool LinuxApplications::terminate(const RunningApplication& application) {
  return signal(application, SIGTERM);
}

bool LinuxApplications::forceTerminate(const RunningApplication& application) {
  return signal(application, SIGKILL);
}

bool LinuxApplications::signal(const RunningApplication& application, int signal) const {
  const auto found = installed(application.bundleIdentifier);
  return found && signalProcess(application.processIdentifier, signal,
                                matcher(application.bundleIdentifier, *found));
}

}  // namespace platform
