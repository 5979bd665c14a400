#include "platform/linux/Processes.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <set>
#include <unordered_map>

#include "platform/linux/KeyedText.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixFiles.h"

namespace platform {
namespace {

constexpr std::string_view kReplaced = " (deleted)";

std::string folderOf(std::int64_t identifier) { return "/proc/" + std::to_string(identifier); }

std::string executableOf(const std::string& folder) {
  std::string path(4096, '\0');
  const ssize_t length = readlink((folder + "/exe").c_str(), path.data(), path.size());
  path.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  if (path.ends_with(kReplaced)) path.resize(path.size() - kReplaced.size());
  return path;
}

std::optional<std::int64_t> processNumber(const std::string& name) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  if (error != std::errc() || end != name.data() + name.size() || number <= 0) return std::nullopt;
  return number;
}

FileDescriptor processDescriptor(std::int64_t identifier) {
  return FileDescriptor(
      static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(identifier), 0)));
}

}  // namespace

std::optional<Process> ownProcess(std::int64_t identifier) {
  const std::string folder = folderOf(identifier);
  struct stat info {};
  if (stat(folder.c_str(), &info) != 0 || info.st_uid != geteuid()) return std::nullopt;
  Process process{identifier, 0, executableOf(folder)};
  const auto status = readWholeFile(folder + "/status");
  if (process.executable.empty() || !status) return std::nullopt;
  const auto parent = valueOfLine(*status, "PPid", ':').value_or("0");
  process.parent = processNumber(std::string(parent)).value_or(0);
  return process;
}

std::vector<Process> ownProcesses() {
  std::vector<Process> found;
  const auto names = PosixFiles().names("/proc");
  if (!names) return found;
  for (const std::string& name : *names) {
    const auto number = processNumber(name);
    auto process = number ? ownProcess(*number) : std::nullopt;
    if (process) found.push_back(std::move(*process));
  }
  return found;
}

std::vector<Process> leadingProcesses(const std::vector<Process>& all,
                                      const std::function<bool(const Process&)>& matches) {
  std::unordered_map<std::int64_t, std::int64_t> parents;
  std::set<std::int64_t> matching;
  for (const Process& process : all) {
    parents[process.identifier] = process.parent;
    if (matches(process)) matching.insert(process.identifier);
  }
  // The processes were not seen all at once, so that parents might even form a circle.
  const auto hasMatchingAncestor = [&](std::int64_t identifier) {
    for (std::size_t steps = 0; steps < all.size(); ++steps) {
      const auto parent = parents.find(identifier);
      if (parent == parents.end()) return false;
      identifier = parent->second;
      if (matching.count(identifier) != 0) return true;
    }
    return false;
  };
  std::vector<Process> leading;
  for (const Process& process : all) {
    if (matching.count(process.identifier) != 0 && !hasMatchingAncestor(process.identifier))
      leading.push_back(process);
  }
  return leading;
}

// The descriptor keeps hold of one process, and what it is is asked after that.
bool signalProcess(std::int64_t identifier, int signal,
                   const std::function<bool(const Process&)>& matches) {
  const FileDescriptor held = processDescriptor(identifier);
  const auto process = ownProcess(identifier);
  if (held.get() < 0 || !process || !matches(*process)) return false;
  return syscall(SYS_pidfd_send_signal, held.get(), signal, nullptr, 0) == 0;
}

}  // namespace platform
