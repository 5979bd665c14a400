#include "disktools/Mounting.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "disktools/Volume.h"

namespace disktools {

namespace {

constexpr std::array<MountOption, 6> kOptions = {{
    {"noatime", MOUNT_ATTR_NOATIME},
    {"nodev", MOUNT_ATTR_NODEV},
    {"noexec", MOUNT_ATTR_NOEXEC},
    {"nosuid", MOUNT_ATTR_NOSUID},
    {"rdonly", MOUNT_ATTR_RDONLY},
    {"nobrowse", 0},  // desktops have no such mark on mounts that the kernel makes
}};

Outcome addOption(std::string_view name, std::uint64_t& attributes) {
  const auto* const found =
      std::find_if(kOptions.begin(), kOptions.end(),
                   [&](const MountOption& option) { return option.name == name; });
  if (found == kOptions.end()) return Problem{"unknown option " + std::string(name), EINVAL, {}};
  attributes |= found->attribute;
  return {};
}

bool restrict(const Descriptor& tree, std::uint64_t attributes) {
  mount_attr change{};
  change.attr_clr = MOUNT_ATTR__ATIME;
  change.attr_set = attributes;
  change.propagation = MS_PRIVATE;
  return mount_setattr(tree.get(), "", AT_EMPTY_PATH, &change, sizeof change) == 0;
}

constexpr int kOpen = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int kMostNames = 100;

// A directory below `parent` that nobody but root can change; made when it is not there.
Result<Descriptor> rootsDirectory(int parent, const std::string& name, mode_t mode, gid_t group) {
  const bool made = mkdirat(parent, name.c_str(), 0700) == 0;
  if (!made && errno != EEXIST) return systemProblem("cannot make the media directory " + name);
  Descriptor directory(openat(parent, name.c_str(), kOpen));
  struct stat info {};
  if (!directory || fstat(directory.get(), &info) != 0)
    return systemProblem("cannot open the media directory " + name);
  if (info.st_uid != 0 || (info.st_mode & 002U) != 0)
    return Problem{"the media directory " + name + " is not root's", EPERM, {}};
  if (made && (fchown(directory.get(), 0, group) != 0 || fchmod(directory.get(), mode) != 0))
    return systemProblem("cannot make the media directory " + name);
  return directory;
}

Result<Descriptor> mediaDirectory(const Caller& caller) {
  const Descriptor run(open("/run", kOpen));
  if (!run) return systemProblem("cannot open /run");
  auto media = rootsDirectory(run.get(), "media", 0755, 0);
  if (!media) return media.error();
  return rootsDirectory(media->get(), caller.name(), 0750, caller.gid);
}

}  // namespace

std::span<const MountOption> mountOptions() { return kOptions; }

Result<std::uint64_t> mountAttributes(std::span<const std::string> values) {
  std::uint64_t attributes = kVolumeAttributes;
  for (std::string_view rest : values) {
    for (bool more = true; more;) {
      const std::size_t comma = rest.find(',');
      if (auto added = addOption(rest.substr(0, comma), attributes); !added) return added.error();
      more = comma != std::string_view::npos;
      rest.remove_prefix(more ? comma + 1 : rest.size());
    }
  }
  return attributes;
}

Outcome showVolume(const Device& device, const Descriptor& directory, std::uint64_t attributes) {
  const Record& record = device.record;
  const std::string home = State::home(record);
  const Descriptor tree(open_tree(AT_FDCWD, home.c_str(), OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC));
  if (!tree || !restrict(tree, attributes))
    return systemProblem("cannot open the file system of " + record.node());
  const unsigned byDescriptor = MOVE_MOUNT_F_EMPTY_PATH | MOVE_MOUNT_T_EMPTY_PATH;
  if (move_mount(tree.get(), "", directory.get(), "", byDescriptor) != 0)
    return systemProblem("cannot mount " + record.node());
  return {};
}

Outcome setWritable(const MountPoint& point, bool writable) {
  const std::string what =
      fmt::format("cannot make {} {}", point.entry.path, writable ? "writable" : "read-only");
  auto root = pinRoot(point);
  if (!root) return root.error();
  mount_attr change{};
  (writable ? change.attr_clr : change.attr_set) = MOUNT_ATTR_RDONLY;
  if (mount_setattr(root->get(), "", AT_EMPTY_PATH, &change, sizeof change) == 0) return {};
  return systemProblem(what, errno == EBUSY ? "a program has files open for writing there" : "");
}

Result<MediaPlace> makeMediaPlace(const Caller& caller, const std::string& name) {
  auto media = mediaDirectory(caller);
  if (!media) return media.error();
  for (int attempt = 0; attempt < kMostNames; ++attempt) {
    const std::string free = attempt == 0 ? name : name + " " + std::to_string(attempt);
    if (mkdirat(media->get(), free.c_str(), 0755) != 0) {
      if (errno == EEXIST) continue;
      return systemProblem("cannot make a directory for " + name);
    }
    Descriptor directory(openat(media->get(), free.c_str(), O_PATH | kOpen));
    if (!directory) return systemProblem("cannot open a directory for " + name);
    return MediaPlace{std::move(directory), "/run/media/" + caller.name() + "/" + free};
  }
  return Problem{"there are too many volumes named " + name, EEXIST, {}};
}

void removeMediaPlace(const std::string& path) {
  if (path.starts_with("/run/media/")) rmdir(path.c_str());
}

}  // namespace disktools
