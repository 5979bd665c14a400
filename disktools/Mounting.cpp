#include "disktools/Mounting.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mount.h>

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

Failure addOption(std::string_view name, std::uint64_t& attributes) {
  const auto* const found =
      std::find_if(kOptions.begin(), kOptions.end(),
                   [&](const MountOption& option) { return option.name == name; });
  if (found == kOptions.end()) return Problem{"unknown option " + std::string(name), EINVAL, {}};
  attributes |= found->attribute;
  return std::nullopt;
}

bool restrict(const Descriptor& tree, std::uint64_t attributes) {
  mount_attr change{};
  change.attr_clr = MOUNT_ATTR__ATIME;
  change.attr_set = attributes;
  change.propagation = MS_PRIVATE;
  return mount_setattr(tree.get(), "", AT_EMPTY_PATH, &change, sizeof change) == 0;
}

}  // namespace

std::span<const MountOption> mountOptions() { return kOptions; }

Result<std::uint64_t> mountAttributes(std::span<const std::string> values) {
  std::uint64_t attributes = kVolumeAttributes;
  for (std::string_view rest : values) {
    for (bool more = true; more;) {
      const std::size_t comma = rest.find(',');
      if (auto failure = addOption(rest.substr(0, comma), attributes)) return *failure;
      more = comma != std::string_view::npos;
      rest.remove_prefix(more ? comma + 1 : rest.size());
    }
  }
  return attributes;
}

Failure showVolume(const Device& device, const Descriptor& directory, std::uint64_t attributes) {
  const Record& record = device.record;
  const std::string home = State::home(record);
  const Descriptor tree(open_tree(AT_FDCWD, home.c_str(), OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC));
  if (!tree || !restrict(tree, attributes))
    return systemProblem("cannot open the file system of " + record.node());
  const unsigned byDescriptor = MOVE_MOUNT_F_EMPTY_PATH | MOVE_MOUNT_T_EMPTY_PATH;
  if (move_mount(tree.get(), "", directory.get(), "", byDescriptor) != 0)
    return systemProblem("cannot mount " + record.node());
  return std::nullopt;
}

Failure setWritable(const MountPoint& point, bool writable) {
  const std::string what =
      fmt::format("cannot make {} {}", point.entry.path, writable ? "writable" : "read-only");
  auto root = pinRoot(point);
  if (!root) return root.problem();
  mount_attr change{};
  (writable ? change.attr_clr : change.attr_set) = MOUNT_ATTR_RDONLY;
  if (mount_setattr(root->get(), "", AT_EMPTY_PATH, &change, sizeof change) == 0)
    return std::nullopt;
  return systemProblem(what, errno == EBUSY ? "a program has files open for writing there" : "");
}

}  // namespace disktools
