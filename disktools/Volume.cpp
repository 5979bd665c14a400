#include "disktools/Volume.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>

#include "leaf/VolumeLimits.h"

namespace disktools {

const std::uint64_t kVolumeAttributes = MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV | MOUNT_ATTR_NOATIME;

namespace {

// Each read gives one message: a severity letter, a blank and the text.
std::string kernelMessages(int context) {
  std::string all;
  std::array<char, 1024> buffer{};
  for (ssize_t count = 0; (count = read(context, buffer.data(), buffer.size())) > 0;) {
    std::string message(buffer.data(), static_cast<std::size_t>(count));
    if (message.size() > 2 && message[1] == ' ') message.erase(0, 2);
    while (!message.empty() && message.back() == '\n') message.pop_back();
    all += all.empty() ? "the kernel says: " : "; ";
    all += message;
  }
  return all;
}

bool keepsUserAttributes(const Descriptor& volume) {
  const Descriptor root(openat(volume.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return root && fsetxattr(root.get(), "user.tarnvale.probe", "1", 1, 0) == 0;
}

Outcome configureMemory(FsContext& context, const Record& record) {
  const std::pair<const char*, std::string> options[] = {
      {"source", record.node()},
      {"size", std::to_string(record.bytes())},
      {"nr_inodes", std::to_string(leaf::mostInodes(record.bytes()))},
      {"mode", "0700"},  // until who fills it gives it the rights that it is to have
      {"uid", std::to_string(record.uid)},
      {"gid", std::to_string(record.gid)},
  };
  for (const auto& [key, value] : options)
    if (auto set = context.set(key, value); !set) return set;
  // Kernels before 6.4 do not know it, and user namespaces may not ask for it: the volume may then
  // be swapped out as any other.
  if (record.wired) static_cast<void>(context.set("noswap"));
  return {};
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
  if (!context) return context.error();
  if (auto set = configureMemory(*context, record); !set) return set.error();
  return context->mount(kVolumeAttributes);
}

Outcome installVolume(const State& state, const Record& record, const Descriptor& volume) {
  auto home = state.makeHome(record);
  if (!home) return home.error();
  if (move_mount(volume.get(), "", home->get(), "",
                 MOVE_MOUNT_F_EMPTY_PATH | MOVE_MOUNT_T_EMPTY_PATH))
    return systemProblem("cannot attach the file system of " + record.node());
  return {};
}

Outcome dropVolume(const Record& record, bool force) {
  const std::string home = State::home(record);
  if (umount2(home.c_str(), UMOUNT_NOFOLLOW) == 0) return {};
  if (force && errno == EBUSY && umount2(home.c_str(), UMOUNT_NOFOLLOW | MNT_DETACH) == 0)
    return {};
  return systemProblem("cannot release the file system of " + record.node());
}

Outcome renewVolume(const State& state, const Device& device, const Record& record) {
  if (auto idle = refuseUnlessIdle(device); !idle) return idle;
  auto volume = makeVolume(record);
  if (!volume) return volume.error();
  if (auto dropped = dropVolume(device.record, false); !dropped) return dropped;
  if (auto installed = installVolume(state, record, *volume); !installed) return installed;
  return state.write(record);
}

Result<FsContext> FsContext::open(const char* type, std::string purpose) {
  Descriptor context(fsopen(type, FSOPEN_CLOEXEC));
  if (!context) return systemProblem(purpose, std::string("the kernel has no ") + type);
  return FsContext(std::move(context), std::move(purpose));
}

Problem FsContext::refused() const {
  const int error = errno;
  return {purpose_, error, kernelMessages(context_.get())};
}

Outcome FsContext::set(const char* key, const std::string& value) {
  if (fsconfig(context_.get(), FSCONFIG_SET_STRING, key, value.c_str(), 0) != 0) return refused();
  return {};
}

Outcome FsContext::set(const char* flag) {
  if (fsconfig(context_.get(), FSCONFIG_SET_FLAG, flag, nullptr, 0) != 0) return refused();
  return {};
}

Result<Descriptor> FsContext::mount(std::uint64_t attributes) {
  if (fsconfig(context_.get(), FSCONFIG_CMD_CREATE, nullptr, nullptr, 0) != 0) return refused();
  Descriptor made(fsmount(context_.get(), FSMOUNT_CLOEXEC, static_cast<unsigned>(attributes)));
  if (!made) return refused();
  return made;
}

}  // namespace disktools
