#include "platform/linux/Processes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <set>
#include <unordered_map>

#include "platform/linux/KeyedText.h"
#include "platform/posix/FileContents.h"

namespace platform {
namespace {

constexpr std::size_t kLongestTold = 4096;  // bytes of a link's text
constexpr std::size_t kFirstRead = 16U << 10U;
constexpr std::size_t kLongestKept = 15;  // bytes that the kernel keeps of a name

std::vector<std::string> namesIn(int parent, const char* name) {
  std::vector<std::string> names;
  const Descriptor directory(openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory) return names;
  auto entries = listDirectory(directory.get(), name);
  if (!entries) return names;
  names.reserve(entries->size());
  for (DirectoryEntry& entry : *entries) names.push_back(std::move(entry.name));
  return names;
}

std::string lastComponent(std::string_view path) {
  return std::string(path.substr(path.rfind('/') + 1));
}

std::optional<std::int64_t> processNumber(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number <= 0) return std::nullopt;
  return number;
}

}  // namespace

// --- One process

ProcessFolder::ProcessFolder(const std::string& name)
    : folder_(open(("/proc/" + name).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

std::optional<std::string> ProcessFolder::link(const char* name) const {
  std::string text(kLongestTold, '\0');
  const ssize_t length = readlinkat(folder_.get(), name, text.data(), text.size());
  if (length < 0 && errno != ENAMETOOLONG) return std::nullopt;
  text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return text;
}

// The kernel gives some lines at each call, however large the buffer.
std::string ProcessFolder::text(const char* name) const {
  std::string text;
  const Descriptor file(openat(folder_.get(), name, O_RDONLY | O_CLOEXEC));
  if (!file) return text;
  std::size_t length = 0;
  text.resize(kFirstRead);
  ssize_t got = 0;
  while ((got = read(file.get(), text.data() + length, text.size() - length)) > 0) {
    length += static_cast<std::size_t>(got);
    if (text.size() - length < kLongestTold) text.resize(2 * text.size());
  }
  text.resize(length);
  return text;
}

std::vector<std::string> ProcessFolder::descriptors() const { return namesIn(folder_.get(), "fd"); }

std::uint64_t ProcessFolder::mountOf(const char* link) const {
  struct statx info {};
  const int flags = AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
  return statx(folder_.get(), link, flags, STATX_MNT_ID, &info) == 0 ? info.stx_mnt_id : 0;
}

bool ProcessFolder::belongsToUser() const {
  struct stat info {};
  return fstat(folder_.get(), &info) == 0 && info.st_uid == geteuid();
}

std::vector<std::int64_t> processNumbers() {
  std::vector<std::int64_t> numbers;
  for (const std::string& name : namesIn(AT_FDCWD, "/proc"))
    if (const auto number = processNumber(name)) numbers.push_back(*number);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

// The whole of a cut name stands in the program's path or, for a script, in its first argument.
std::string programName(const ProcessFolder& process) {
  std::string name(withoutBlanks(process.text("comm")));
  if (name.size() < kLongestKept) return name;
  const std::string command = process.text("cmdline");
  std::string_view rest = command;
  for (int i = 0; i < 2 && !rest.empty(); ++i) {
    const std::string_view word = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(rest.size(), word.size() + 1));
    if (auto full = lastComponent(word); full.starts_with(name)) return full;
  }
  return name;
}

// --- The user's own

namespace {

// Of a process whose program's file was replaced or deleted, the kernel tells so behind the name.
std::string executableOf(const ProcessFolder& process) {
  constexpr std::string_view kReplaced = " (deleted)";
  std::string path = process.link("exe").value_or("");
  if (path.ends_with(kReplaced)) path.resize(path.size() - kReplaced.size());
  return path;
}

// nullopt for a process that has ended or belongs to somebody else.
std::optional<Process> ownProcess(std::int64_t identifier) {
  const ProcessFolder folder(std::to_string(identifier));
  if (!folder.belongsToUser()) return std::nullopt;
  Process process{identifier, 0, executableOf(folder)};
  const std::string status = folder.text("status");
  if (process.executable.empty() || status.empty()) return std::nullopt;
  process.parent = processNumber(valueOfLine(status, "PPid", ':').value_or("")).value_or(0);
  return process;
}

}  // namespace

std::vector<Process> ownProcesses() {
  std::vector<Process> found;
  for (const std::int64_t number : processNumbers())
    if (auto process = ownProcess(number)) found.push_back(std::move(*process));
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
  const Descriptor held(
      static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(identifier), 0)));
  const auto process = ownProcess(identifier);
  if (!held || !process || !matches(*process)) return false;
  return syscall(SYS_pidfd_send_signal, held.get(), signal, nullptr, 0) == 0;
}

}  // namespace platform
