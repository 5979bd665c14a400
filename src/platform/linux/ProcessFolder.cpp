#include "platform/linux/ProcessFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "platform/linux/KeyedText.h"
#include "platform/posix/DirectoryListing.h"

namespace platform {
namespace {

constexpr std::size_t kLongestTold = 4096;  // bytes of a link's text
constexpr std::size_t kFirstRead = 16U << 10U;
constexpr std::size_t kLongestKept = 15;  // bytes that the kernel keeps of a name

std::vector<std::string> namesIn(int parent, const char* name) {
  std::vector<std::string> names;
  const FileDescriptor directory(openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
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

}  // namespace

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
  const FileDescriptor file(openat(folder_.get(), name, O_RDONLY | O_CLOEXEC));
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

std::vector<std::int64_t> processNumbers() {
  std::vector<std::int64_t> numbers;
  for (const std::string& name : namesIn(AT_FDCWD, "/proc")) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (error == std::errc() && end == name.data() + name.size()) numbers.push_back(number);
  }
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

}  // namespace platform
