#include "platform/linux/LinuxApplications.h"

#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>

#include "platform/linux/KeyedText.h"
#include "platform/linux/OwnPrograms.h"
#include "platform/linux/ProcessFolder.h"
#include "platform/linux/Processes.h"
#include "platform/linux/ProgramVersion.h"
#include "platform/posix/FileContents.h"

namespace platform {
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
  const std::filesystem::path executable(application.executable);
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
  return askedVersionOnce(applicationPath, files);
}

// A failure is not kept: a machine that is busy starting up is slow to answer once.
std::optional<std::string> LinuxApplications::askedVersionOnce(const std::string& path,
                                                               const ProgramFiles& files) const {
  const std::string stamp = stampOf(path, files);
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
