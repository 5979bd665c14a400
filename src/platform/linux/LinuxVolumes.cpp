#include "platform/linux/LinuxVolumes.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <filesystem>

#include "leaf/DeviceNames.h"
#include "leaf/MountTable.h"
#include "leaf/VolumeLimits.h"
#include "platform/linux/VolumeUse.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/PosixError.h"
#include "platform/posix/PosixFiles.h"

namespace platform {

// --- The mounts

namespace {

constexpr char kMountTablePath[] = "/proc/self/mountinfo";
constexpr std::string_view kLoopDevice = "/dev/loop";
constexpr std::chrono::milliseconds kTrusted{20};

std::optional<std::string> nodeBehindLoop(std::string_view source) {
  const auto name = source.substr(std::string_view("/dev/").size());
  const auto backing = readWholeFile("/sys/block/" + std::string(name) + "/loop/backing_file");
  return backing ? nodeOfBackingFile(*backing) : std::nullopt;
}

// Loop devices abound where packages are mounted; only ours are of this type.
std::string shownSource(const MountLine& line) {
  if (line.type == "ext4" && line.source.starts_with(kLoopDevice)) {
    if (auto node = nodeBehindLoop(line.source)) return *node;
  }
  return withoutMountEscapes(line.source);
}

std::vector<Mount> publicMounts(std::string_view text) {
  std::vector<Mount> mounts;
  for (const MountLine& line : visibleFirst(parseMountTable(text))) {
    if (liesInDeviceFolder(line.mountedOn)) continue;
    mounts.push_back(
        {std::string(line.type), shownSource(line), withoutMountEscapes(line.mountedOn)});
  }
  return mounts;
}

}  // namespace

Result<KeptMounts::Mounts> KeptMounts::read() const {
  const std::lock_guard lock(mutex_);
  if (isCurrent()) return mounts_;
  if (!changes_) changes_ = Descriptor(open(kMountTablePath, O_RDONLY | O_CLOEXEC));
  if (!changes_) return lastPosixError(kMountTablePath);
  const auto text = readMountTable();
  if (!text) return lastPosixError(kMountTablePath);
  mounts_ = std::make_shared<const std::vector<Mount>>(publicMounts(*text));
  readAt_ = Clock::now();
  return mounts_;
}

bool KeptMounts::isCurrent() const {
  if (!changes_ || !mounts_) return false;
  pollfd change{changes_.get(), POLLPRI, 0};
  return poll(&change, 1, 0) == 0 && Clock::now() - readAt_ < kTrusted;
}

// --- On this machine or another

namespace {

constexpr std::uint64_t kFuse = 0x65735546;

// NFS, SMB in three ages, 9P, Ceph, AFS in two, Coda; linux/magic.h has not all of them everywhere.
constexpr std::array<std::uint64_t, 9> kRemoteMagic = {0x6969,     0x517B,     0xFE534D42,
                                                       0xFF534D42, 0x01021997, 0x00C36400,
                                                       0x5346414F, 0x6B414653, 0x73757245};

// User programs that fetch what they show over a network. "fuse" alone says nothing.
constexpr std::array<std::string_view, 14> kRemoteFuse = {
    "fuse.sshfs",     "fuse.rclone",
    "fuse.davfs",     "fuse.davfs2",
    "fuse.curlftpfs", "fuse.s3fs",
    "fuse.goofys",    "fuse.gcsfuse",
    "fuse.glusterfs", "fuse.gvfsd-fuse",
    "fuse.ceph-fuse", "fuse.smbnetfs",
    "fuse.afpfs",     "fuse.google-drive-ocamlfuse"};

std::string typeOfDevice(dev_t device, std::string_view table) {
  const std::string wanted = std::to_string(major(device)) + ":" + std::to_string(minor(device));
  for (const MountLine& line : parseMountTable(table)) {
    if (line.device == wanted) return std::string(line.type);
  }
  return {};
}

}  // namespace

bool isRemoteType(std::uint64_t magic, std::string_view name) {
  if (magic == kFuse)
    return std::find(kRemoteFuse.begin(), kRemoteFuse.end(), name) != kRemoteFuse.end();
  return std::find(kRemoteMagic.begin(), kRemoteMagic.end(), magic) != kRemoteMagic.end();
}

// --- What else identifies a volume

namespace {

Result<struct stat> statOf(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return lastPosixError(path);
  return info;
}

// Whether what lies at the path, links followed, is kept on another machine.
Result<bool> isRemoteFileSystem(const std::string& path) {
  struct statfs info {};
  if (statfs(path.c_str(), &info) != 0) return lastPosixError(path);
  // The kernel's numbers have 32 bits; the field is wider and signed.
  const std::uint64_t magic = static_cast<std::uint32_t>(info.f_type);
  if (magic != kFuse) return isRemoteType(magic, {});
  struct stat item {};
  if (stat(path.c_str(), &item) != 0) return lastPosixError(path);
  const auto table = readMountTable();
  if (!table) return lastPosixError(kMountTablePath);
  return isRemoteType(magic, typeOfDevice(item.st_dev, *table));
}

constexpr std::size_t kLength = 36;

bool isIdentifier(const std::string& text) {
  return text.size() == kLength && std::all_of(text.begin(), text.end(), [](unsigned char c) {
           return std::isxdigit(c) != 0 || c == '-';
         });
}

bool leadsToDevice(const std::filesystem::path& path, std::int32_t number) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && S_ISBLK(info.st_mode) &&
         static_cast<std::int32_t>(info.st_rdev) == number;
}

// The identifier of the file system on a block device, as an upper-case UUID text. `links` is the
// folder where the system keeps a link to each device under its file system's identifier. nullopt
// for file systems without a device, such as those in memory, and for shorter identifiers.
std::optional<std::string> identifierOfDevice(std::int32_t deviceNumber, const std::string& links) {
  const std::filesystem::path folder(links);
  const auto names = PosixFiles().names(links);
  if (!names) return std::nullopt;
  for (std::string name : *names) {
    if (!isIdentifier(name) || !leadsToDevice(folder / name, deviceNumber)) continue;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return name;
  }
  return std::nullopt;
}

}  // namespace

Result<std::size_t> LinuxVolumes::mountCount() const {
  const auto all = kept_.read();
  if (!all) return all.error();
  return (*all)->size();
}

Result<std::vector<Mount>> LinuxVolumes::mounts(std::size_t most) const {
  const auto all = kept_.read();
  if (!all) return all.error();
  const auto count = std::min(most, (*all)->size());
  return std::vector<Mount>((*all)->begin(), (*all)->begin() + static_cast<std::ptrdiff_t>(count));
}

Result<FileSystemAttributes> LinuxVolumes::attributes(const std::string& path) const {
  struct statvfs info {};
  if (statvfs(path.c_str(), &info) != 0) return lastPosixError(path);
  return FileSystemAttributes{info.f_blocks * info.f_frsize, info.f_bavail * info.f_frsize,
                              (info.f_flag & ST_RDONLY) != 0,
                              std::clamp<std::size_t>(info.f_namemax, 1, NAME_MAX)};
}

Result<std::uint64_t> LinuxVolumes::fileSystemNumber(const std::string& path) const {
  const auto info = statOf(path);
  if (!info) return info.error();
  return std::uint64_t{info->st_dev};
}

Result<std::int32_t> LinuxVolumes::deviceNumber(const std::string& path) const {
  const auto info = statOf(path);
  if (!info) return info.error();
  return static_cast<std::int32_t>(info->st_dev);
}

Result<bool> LinuxVolumes::isLocal(const std::string& path) const {
  const auto remote = isRemoteFileSystem(path);
  if (!remote) return remote.error();
  return !*remote;
}

std::optional<std::string> LinuxVolumes::volumeIdentifier(std::int32_t deviceNumber) const {
  return identifierOfDevice(deviceNumber, "/dev/disk/by-uuid");
}

std::optional<std::uint64_t> LinuxVolumes::mostEntries(std::uint64_t bytes) const {
  return leaf::mostInodes(bytes);
}

VolumeUse LinuxVolumes::use(const std::string& mountPoint) const { return volumeUse(mountPoint); }

VolumeUse LinuxVolumes::useBelow(const std::string& directory) const {
  return usersBelow(directory);
}

// --- Extended attributes

namespace {

std::string kept(const std::string& name) { return "user." + name; }

std::string subject(const std::string& path, const std::string& name) {
  return path + ", attribute " + name;
}

// Asks `read` for the size, then for the bytes. It is called with a buffer and the buffer's size.
template <class Read>
Result<std::string> sizedRead(const std::string& what, Read read) {
  const ssize_t size = read(nullptr, 0);
  if (size < 0) return lastPosixError(what);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  if (size == 0) return bytes;
  const ssize_t got = read(bytes.data(), bytes.size());
  if (got < 0) return lastPosixError(what);
  if (got != size) return posixError(ERANGE, what);
  return bytes;
}

}  // namespace

Outcome LinuxVolumes::setAttribute(const std::string& path, const std::string& name,
                                   const std::string& value) {
  if (lsetxattr(path.c_str(), kept(name).c_str(), value.data(), value.size(), 0) == 0) return {};
  return lastPosixError(subject(path, name));
}

Outcome LinuxVolumes::removeAttribute(const std::string& path, const std::string& name) {
  if (lremovexattr(path.c_str(), kept(name).c_str()) == 0) return {};
  return lastPosixError(subject(path, name));
}

Result<std::string> LinuxVolumes::attribute(const std::string& path,
                                            const std::string& name) const {
  return sizedRead(subject(path, name), [&](char* buffer, std::size_t size) {
    return lgetxattr(path.c_str(), kept(name).c_str(), buffer, size);
  });
}

Result<std::vector<std::string>> LinuxVolumes::attributeNames(const std::string& path) const {
  const auto list = sizedRead(
      path, [&](char* buffer, std::size_t size) { return llistxattr(path.c_str(), buffer, size); });
  if (!list) return list.error();
  std::vector<std::string> names;
  for (std::size_t at = 0; at < list->size(); at += names.back().size() + 1)
    names.emplace_back(list->c_str() + at);
  return names;
}

}  // namespace platform
