#include "platform/linux/RemoteFileSystem.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>

#include "leaf/MountTable.h"
#include "platform/posix/PosixError.h"

namespace platform {
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

Result<bool> isRemoteFileSystem(const std::string& path) {
  struct statfs info {};
  if (statfs(path.c_str(), &info) != 0) return lastPosixError(path);
  // The kernel's numbers have 32 bits; the field is wider and signed.
  const std::uint64_t magic = static_cast<std::uint32_t>(info.f_type);
  if (magic != kFuse) return isRemoteType(magic, {});
  struct stat item {};
  if (stat(path.c_str(), &item) != 0) return lastPosixError(path);
  const auto table = readMountTable();
  if (!table) return lastPosixError("/proc/self/mountinfo");
  return isRemoteType(magic, typeOfDevice(item.st_dev, *table));
}

}  // namespace platform
