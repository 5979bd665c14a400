#include "disktools/Volume.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/xattr.h>

#include <cerrno>

#include "disktools/FsContext.h"

namespace disktools {

const std::uint64_t kVolumeAttributes = MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV | MOUNT_ATTR_NOATIME;

namespace {

// Inodes take kernel memory beside the size, a kilobyte or so each with its directory entry; one
// for each block of the smallest file keeps that in proportion.
std::uint64_t mostInodes(const Record& record) { return 1024 + record.bytes() / 4096; }

bool keepsUserAttributes(const Descriptor& volume) {
  const Descriptor root(openat(volume.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return root && fsetxattr(root.get(), "user.tarnvale.probe", "1", 1, 0) == 0;
}

Failure configureMemory(FsContext& context, const Record& record) {
  if (auto failure = context.set("source", record.node())) return failure;
  if (auto failure = context.set("size", std::to_string(record.bytes()))) return failure;
  if (auto failure = context.set("nr_inodes", std::to_string(mostInodes(record)))) return failure;
  if (auto failure = context.set("mode", "0755")) return failure;
  if (auto failure = context.set("uid", std::to_string(record.uid))) return failure;
  if (auto failure = context.set("gid", std::to_string(record.gid))) return failure;
  // Kernels before 6.4 do not know it, and user namespaces may not ask for it: the volume may then
  // be swapped out as any other.
  if (record.wired) static_cast<void>(context.set("noswap"));
  return std::nullopt;
}

}  // namespace

Backing bestBacking() {
  Record probe;
  probe.sectors = 128;
  auto volume = makeMemoryVolume(probe);
  return volume && keepsUserAttributes(*volume) ? Backing::Memory : Backing::Block;
}

Result<Descriptor> makeVolume(const Record& record) {
  return record.backing == Backing::Memory ? makeMemoryVolume(record) : makeBlockVolume(record);
}

Result<Descriptor> makeMemoryVolume(const Record& record) {
  auto context =
      FsContext::open("tmpfs", "cannot make a file system of " + sizeText(record.bytes()));
  if (!context) return context.problem();
  if (auto failure = configureMemory(*context, record)) return *failure;
  return context->mount(kVolumeAttributes);
}

Failure installVolume(const State& state, const Record& record, const Descriptor& volume) {
  auto home = state.makeHome(record);
  if (!home) return home.problem();
  if (move_mount(volume.get(), "", home->get(), "",
                 MOVE_MOUNT_F_EMPTY_PATH | MOVE_MOUNT_T_EMPTY_PATH))
    return systemProblem("cannot attach the file system of " + record.node());
  return std::nullopt;
}

Failure dropVolume(const Record& record, bool force) {
  const std::string home = State::home(record);
  if (umount2(home.c_str(), UMOUNT_NOFOLLOW) == 0) return std::nullopt;
  if (force && errno == EBUSY && umount2(home.c_str(), UMOUNT_NOFOLLOW | MNT_DETACH) == 0)
    return std::nullopt;
  return systemProblem("cannot release the file system of " + record.node());
}

Failure renewVolume(const State& state, const Device& device, const Record& record) {
  if (auto failure = refuseUnlessIdle(device)) return failure;
  auto volume = makeVolume(record);
  if (!volume) return volume.problem();
  if (auto failure = dropVolume(device.record, false)) return failure;
  if (auto failure = installVolume(state, record, *volume)) return failure;
  return state.write(record);
}

}  // namespace disktools
