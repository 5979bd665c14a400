#include <fcntl.h>
#include <sys/mount.h>

#include <cerrno>

#include "disktools/Media.h"
#include "disktools/Target.h"
#include "disktools/Verbs.h"
#include "disktools/Volume.h"

namespace disktools {

namespace {

// A mount that was taken away and a copy of it to put back, should another prove busy.
struct Taken {
  MountPoint point;
  Descriptor copy;
};

void putBack(const std::vector<Taken>& taken) {
  for (auto mount = taken.rbegin(); mount != taken.rend(); ++mount) {
    const int parent = mount->point.parent.get();
    const char* const name = mount->point.name.c_str();
    static_cast<void>(move_mount(mount->copy.get(), "", parent, name, MOVE_MOUNT_F_EMPTY_PATH));
  }
}

// The mount table gives paths that were true when it was read; the mount's number tells whether
// they still are. Root's rights reach mounts that were bound elsewhere.
Failure take(const MountEntry& entry, std::vector<Taken>& taken) {
  auto point = pinMountPoint(Caller{}, entry.path);
  if (!point) return point.problem();
  if (point->entry.id != entry.id)
    return Problem{"the mount at " + entry.path + " is covered by another", EBUSY, {}};
  const unsigned clone = OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | AT_SYMLINK_NOFOLLOW;
  Descriptor copy(open_tree(point->parent.get(), point->name.c_str(), clone));
  if (auto failure = unmount(*point, false)) return failure;
  taken.push_back({std::move(*point), std::move(copy)});
  return std::nullopt;
}

Failure unmountEverywhere(const Device& device) {
  std::vector<Taken> taken;
  for (auto entry = device.mounts.rbegin(); entry != device.mounts.rend(); ++entry) {
    auto failure = take(*entry, taken);
    if (!failure) continue;
    putBack(taken);
    return failure;
  }
  return std::nullopt;
}

}  // namespace

Failure detach(const Request& request) {
  auto state = State::open();
  if (!state) return state.problem();
  auto device = findDevice(*state, request.caller, request.arguments.operands[0]);
  if (!device) return device.problem();
  if (auto failure = unmountEverywhere(*device)) return failure;
  removeMediaPlace(device->record.mediaDirectory);
  if (auto failure = dropVolume(device->record, true)) return failure;
  state->forget(device->record);
  return std::nullopt;
}

}  // namespace disktools
