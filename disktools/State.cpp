#include "disktools/State.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <map>
#include <set>

#include "leaf/DeviceNames.h"

namespace disktools {

namespace {

using Fields = std::map<std::string, std::string, std::less<>>;

constexpr std::uint64_t kMostSectors =
    static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) / 512;

Fields fieldsOf(std::string_view text) {
  Fields fields;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    const std::size_t equals = line.find('=');
    if (equals != std::string_view::npos)
      fields.emplace(line.substr(0, equals), line.substr(equals + 1));
  }
  return fields;
}

std::string field(const Fields& fields, std::string_view key) {
  const auto found = fields.find(key);
  return found == fields.end() ? std::string() : found->second;
}

// −1 is no user and no group: the kernel takes it for "leave as it is".
std::optional<uid_t> identity(const Fields& fields, std::string_view key) {
  const auto value = decimal(field(fields, key));
  if (!value || *value >= std::numeric_limits<uid_t>::max()) return std::nullopt;
  return static_cast<uid_t>(*value);
}

std::string_view backingName(Backing backing) {
  return backing == Backing::Memory ? "tmpfs" : "block";
}

constexpr mode_t kStateMode = 0700;
constexpr int kDirectory = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::string recordFile(const Record& record) { return record.name() + ".info"; }

bool isTrusted(int directory) {
  struct stat info {};
  return fstat(directory, &info) == 0 && info.st_uid == 0 && (info.st_mode & 022U) == 0;
}

Result<Descriptor> openStateDirectory() {
  if (mkdir(kDeviceFolder, kStateMode) != 0 && errno != EEXIST)
    return systemProblem("cannot make /run/tarnvale");
  Descriptor directory(open(kDeviceFolder, O_RDONLY | kDirectory));
  if (!directory) return systemProblem("cannot open /run/tarnvale");
  if (!isTrusted(directory.get()))
    return Problem{"/run/tarnvale is writable for others than root", 0, "remove it and try again"};
  return directory;
}

Result<Descriptor> waitForLock(int directory) {
  Descriptor lock(openat(directory, "lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!lock) return systemProblem("cannot open the lock in /run/tarnvale");
  while (flock(lock.get(), LOCK_EX) != 0)
    if (errno != EINTR) return systemProblem("cannot take the lock in /run/tarnvale");
  return lock;
}

bool writeWhole(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(fd, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// Records are far shorter than the buffer; one that fills it is damaged.
std::string readAt(int directory, const std::string& name) {
  const Descriptor file(openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  std::array<char, 8192> buffer{};
  const ssize_t count = file ? ::read(file.get(), buffer.data(), buffer.size()) : 0;
  const auto size = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  return size < buffer.size() ? std::string(buffer.data(), size) : std::string();
}

}  // namespace

std::optional<Backing> backingFromName(std::string_view name) {
  if (name == "tmpfs") return Backing::Memory;
  if (name == "block") return Backing::Block;
  return std::nullopt;
}

std::optional<std::uint64_t> decimal(std::string_view text) {
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  const bool whole = !text.empty() && stop == end && error == std::errc();
  if (!whole || (text[0] == '0' && text.size() > 1)) return std::nullopt;
  return value;
}

std::optional<unsigned> deviceNumber(std::string_view node) {
  for (const std::string_view prefix : {"/dev/disk", "/dev/rdisk"}) {
    if (!node.starts_with(prefix)) continue;
    const auto number = decimal(node.substr(prefix.size()));
    if (number && *number <= 99999) return static_cast<unsigned>(*number);
  }
  return std::nullopt;
}

std::string recordText(const Record& record) {
  return fmt::format(
      "uid={}\ngid={}\nsectors={}\nbacking={}\nwired={}\nformat={}\nlabel={}\nmedia={}\n"
      "namespace={}\n",
      record.uid, record.gid, record.sectors, backingName(record.backing),
      record.wired ? "yes" : "no", record.caseSensitive ? "case-sensitive" : "plain", record.label,
      record.mediaDirectory, record.mountNamespace);
}

std::optional<Record> parseRecord(std::string_view text) {
  const Fields fields = fieldsOf(text);
  const auto uid = identity(fields, "uid");
  const auto gid = identity(fields, "gid");
  const auto sectors = decimal(field(fields, "sectors"));
  const auto backing = backingFromName(field(fields, "backing"));
  if (!uid || !gid || !sectors || !backing) return std::nullopt;
  if (*sectors == 0 || *sectors > kMostSectors) return std::nullopt;
  Record record;
  record.uid = *uid;
  record.gid = *gid;
  record.sectors = *sectors;
  record.backing = *backing;
  record.wired = field(fields, "wired") == "yes";
  record.caseSensitive = field(fields, "format") == "case-sensitive";
  record.label = field(fields, "label");
  record.mediaDirectory = field(fields, "media");
  record.mountNamespace = field(fields, "namespace");
  return record;
}

Result<State> State::open() {
  auto directory = openStateDirectory();
  if (!directory) return directory.error();
  auto lock = waitForLock(directory->get());
  if (!lock) return lock.error();
  return State(std::move(*directory), std::move(*lock));
}

std::string State::home(const Record& record) {
  return std::string(kDeviceFolder) + "/" + record.name();
}

std::vector<unsigned> State::numbers() const {
  std::set<unsigned> found;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(kDeviceFolder, error)) {
    const auto number =
        deviceNumber("/dev/" + entry.path().filename().replace_extension().string());
    if (number) found.insert(*number);
  }
  return {found.begin(), found.end()};
}

Record State::read(unsigned number) const {
  Record unknown;
  unknown.number = number;
  Record record = parseRecord(readAt(directory_.get(), recordFile(unknown))).value_or(unknown);
  record.number = number;
  return record;
}

Outcome State::write(const Record& record) const {
  const std::string fresh = record.name() + ".new";
  const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
  const Descriptor file(openat(directory_.get(), fresh.c_str(), flags, 0644));
  if (file && writeWhole(file.get(), recordText(record)) &&
      renameat(directory_.get(), fresh.c_str(), directory_.get(), recordFile(record).c_str()) == 0)
    return {};
  Problem problem = systemProblem("cannot write the record of " + record.node());
  unlinkat(directory_.get(), fresh.c_str(), 0);
  return problem;
}

Result<Descriptor> State::makeHome(const Record& record) const {
  if (mkdirat(directory_.get(), record.name().c_str(), 0700) != 0 && errno != EEXIST)
    return systemProblem("cannot make a mount directory for " + record.node());
  Descriptor home(openat(directory_.get(), record.name().c_str(), O_PATH | kDirectory));
  if (!home) return systemProblem("cannot open the mount directory of " + record.node());
  return home;
}

bool State::hasHome(const Record& record) const {
  return faccessat(directory_.get(), record.name().c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

void State::forget(const Record& record) const {
  unlinkat(directory_.get(), record.name().c_str(), AT_REMOVEDIR);
  unlinkat(directory_.get(), (record.name() + ".new").c_str(), 0);
  unlinkat(directory_.get(), recordFile(record).c_str(), 0);
}

}  // namespace disktools
