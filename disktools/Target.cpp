#include "disktools/Target.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>

#include "leaf/DeviceNames.h"

namespace disktools {

namespace {

// File systems on which ordinary directories lie, by the numbers of statfs(2). A directory of
// /proc may belong to a user as well, and a mount over one would lie to other programs.
constexpr std::array<std::uint64_t, 26> kOrdinary = {
    0xEF53,      // ext2, ext3, ext4
    0x58465342,  // xfs
    0x9123683E,  // btrfs
    0xCA451A4E,  // bcachefs
    0xF2F52010,  // f2fs
    0x2FC12FC1,  // zfs
    0x3153464A,  // jfs
    0x52654973,  // reiserfs
    0x3434,      // nilfs
    0x01021994,  // tmpfs
    0x858458F6,  // ramfs
    0x794C7630,  // overlay
    0xF15F,      // ecryptfs
    0x65735546,  // fuse
    0x6969,      // nfs
    0xFF534D42,  // cifs
    0xFE534D42,  // smb2
    0x00C36400,  // ceph
    0x5346414F,  // afs
    0x01021997,  // 9p
    0x786F4256,  // vboxsf
    0x4D44,      // vfat
    0x2011BAB0,  // exfat
    0x7366746E,  // ntfs3
    0x482B,      // hfs+
    0x15013346,  // udf
};

bool isOrdinary(int directory) {
  struct statfs info {};
  if (fstatfs(directory, &info) != 0) return false;
  const auto type = static_cast<std::uint32_t>(info.f_type);
  return std::find(kOrdinary.begin(), kOrdinary.end(), type) != kOrdinary.end();
}

// glibc has no wrapper.
int openWithoutLinks(const std::string& path) {
  open_how how{};
  how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS;  // the last component's among them
  return static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how));
}

Problem cannotOpen(const std::string& path) {
  if (errno == ELOOP)
    return Problem{path + " passes through a symbolic link", 0, "name the directory itself"};
  return systemProblem("cannot open " + path);
}

Result<Descriptor> openAsCaller(const Caller& caller, const std::string& path) {
  const AsCaller rights(caller);
  if (!rights.holds()) return Problem{"cannot take on the caller's rights", EPERM, {}};
  Descriptor directory(openWithoutLinks(path));
  if (!directory) return cannotOpen(path);
  return directory;
}

// The mount that holds `name` below the directory, its root when something is mounted there.
std::optional<MountEntry> mountOf(const std::vector<MountEntry>& table, int directory,
                                  const std::string& name, bool& isRoot) {
  struct statx info {};
  const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_EMPTY_PATH;
  if (statx(directory, name.c_str(), flags, STATX_MNT_ID, &info) != 0) return std::nullopt;
  isRoot = (info.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  for (const MountEntry& entry : table)
    if (entry.id == info.stx_mnt_id) return entry;
  return std::nullopt;
}

Outcome checkTarget(const Caller& caller, int directory, const std::string& path) {
  struct stat info {};
  if (fstat(directory, &info) != 0) return systemProblem("cannot open " + path);
  if (!caller.mayUse(info.st_uid))
    return Problem{path + " belongs to another user", EPERM, "mount over a directory of yours"};
  if (!caller.isRoot() && !isOrdinary(directory))
    return Problem{path + " lies on a file system that takes no mounts", EPERM, {}};
  const auto table = readMounts();
  if (!table) return table.error();
  bool isRoot = false;
  const auto entry = mountOf(*table, directory, "", isRoot);
  if (!entry || liesInDeviceFolder(entry->path))
    return Problem{path + " cannot be mounted over", EPERM, {}};
  return {};
}

struct SplitPath {
  std::string parent;
  std::string name;
};

std::optional<SplitPath> split(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const std::size_t slash = path.rfind('/');
  SplitPath parts{".", path};
  if (slash != std::string::npos)
    parts = {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
  if (parts.name.empty() || parts.name == "." || parts.name == "..") return std::nullopt;
  return parts;
}

}  // namespace

Result<Descriptor> pinDirectory(const Caller& caller, const std::string& path) {
  auto directory = openAsCaller(caller, path);
  if (!directory) return directory.error();
  if (auto checked = checkTarget(caller, directory->get(), path); !checked) return checked.error();
  return directory;
}

std::string MountPoint::path() const {
  return "/proc/self/fd/" + std::to_string(parent.get()) + "/" + name;
}

Result<MountPoint> pinMountPoint(const Caller& caller, const std::string& path) {
  const auto parts = split(path);
  if (!parts) return Problem{path + " is not a mount point of ours", 0, {}};
  auto parent = openAsCaller(caller, parts->parent);
  if (!parent) return parent.error();
  const auto table = readMounts();
  if (!table) return table.error();
  bool isRoot = false;
  auto entry = mountOf(*table, parent->get(), parts->name, isRoot);
  if (!entry || !isRoot || liesInDeviceFolder(entry->path))
    return Problem{"no device is mounted at " + path, EINVAL, "hdiutil info lists your devices"};
  return MountPoint{std::move(*parent), parts->name, std::move(*entry)};
}

Result<Descriptor> pinRoot(const MountPoint& point) {
  const int flags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  Descriptor root(openat(point.parent.get(), point.name.c_str(), flags));
  if (!root) return systemProblem("cannot open " + point.entry.path);
  struct statx info {};
  const bool known = statx(root.get(), "", AT_EMPTY_PATH, STATX_MNT_ID, &info) == 0;
  if (!known || info.stx_mnt_id != point.entry.id)
    return Problem{point.entry.path + " was covered by another mount", EBUSY, {}};
  return root;
}

Outcome unmount(const MountPoint& point, bool force) {
  const std::string path = point.path();
  if (umount2(path.c_str(), UMOUNT_NOFOLLOW) == 0) return {};
  if (force && umount2(path.c_str(), UMOUNT_NOFOLLOW | MNT_DETACH) == 0) return {};
  return systemProblem("cannot unmount " + point.entry.path,
                       errno == EBUSY ? "a program still uses files there" : "");
}

}  // namespace disktools
