// Who uses a volume is asked of every process, of which there are hundreds with thousands of open
// files, while an eject waits. So each process is asked in the order in which the answer is cheap:
//
//   mounts        The volume's "major:minor" is looked up once. In each mount namespace there may
//   be
//                 several mounts of it, or none; mount tables are read once per namespace. A
//                 process that sees none has nothing to do with the volume.
//   descriptors   The kernel tells where a descriptor leads as a text. A text that does not begin
//                 with the path of a mount of the volume is passed over, and most are. One that
//                 does may still lie on another volume mounted below, or under one mounted above:
//                 the number of its mount, in fdinfo, decides. The same file tells whether it is
//                 open for writing.
//   directories   The working directory and the root, likewise; here statx() tells the mount.
//   mappings      A file can be mapped after it was closed. The line of a mapping names device and
//                 inode, so that the text is searched for the device. What is mapped for writing is
//                 told by inode as well: writing through it leaves no trace in a file's times, and
//                 a save must compare its contents.
//
// What is mounted in the volume needs no process: the mount table of this one shows it.
//
// Nothing is opened and no file system but the volume is asked, because a server that is gone would
// hold up the answer about a disk it has no part in.
#include "platform/linux/VolumeUse.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <map>

#include "leaf/MountTable.h"
#include "platform/linux/KeyedText.h"
#include "platform/linux/Processes.h"

namespace platform {
namespace {

// --- The volume's mounts

// The mounts of one file system that a process sees.
struct MountsOfDevice {
  std::vector<std::uint64_t> identifiers;
  std::vector<std::string> paths;  // as the kernel tells paths to this process

  // false for a path that surely lies on none of them.
  bool mayHold(std::string_view path) const;
  bool have(std::uint64_t identifier) const;
};

// The same for all processes, read once for each mount namespace.
class NamespaceMounts {
 public:
  // `device` as "major:minor".
  explicit NamespaceMounts(std::string device);

  // No mounts for a process that may not be looked at.
  const MountsOfDevice& of(const ProcessFolder& process);

 private:
  const std::string device_;
  std::string ownName_;
  MountsOfDevice own_;
  std::map<std::string, MountsOfDevice> others_;  // by namespace and root directory
};

bool liesIn(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// The table tells paths from the process's root directory, its links from that of its namespace.
void addMounts(MountsOfDevice& mounts, const ProcessFolder& process, const std::string& device,
               const std::string& root) {
  const std::string table = process.text("mountinfo");
  for (const MountLine& line : parseMountTable(table)) {
    if (line.device != device) continue;
    mounts.identifiers.push_back(line.identifier);
    mounts.paths.push_back(root + withoutMountEscapes(line.mountedOn));
  }
}

bool MountsOfDevice::mayHold(std::string_view path) const {
  if (path.empty()) return !paths.empty();
  return std::any_of(paths.begin(), paths.end(),
                     [&](const std::string& folder) { return liesIn(path, folder); });
}

bool MountsOfDevice::have(std::uint64_t identifier) const {
  return std::find(identifiers.begin(), identifiers.end(), identifier) != identifiers.end();
}

NamespaceMounts::NamespaceMounts(std::string device) : device_(std::move(device)) {
  const ProcessFolder self("self");
  ownName_ = self.link("ns/mnt").value_or("");
  addMounts(own_, self, device_, "");
}

// In this process's own namespace all links are told as this process sees it, whatever the root of
// theirs. A process that went to another one still has what it opened before.
const MountsOfDevice& NamespaceMounts::of(const ProcessFolder& process) {
  static const MountsOfDevice kNone;
  const auto name = process.link("ns/mnt");
  if (!name) return kNone;
  if (*name == ownName_) return own_;
  std::string root = process.link("root").value_or("/");
  if (root == "/") root.clear();
  const auto [found, isNew] = others_.try_emplace(*name + root, own_);
  if (isNew) addMounts(found->second, process, device_, root);
  return found->second;
}

// The line of the mount whose root the path shows, nullopt where it is none.
std::optional<MountLine> mountAt(const std::string& path, const std::vector<MountLine>& table) {
  struct statx info {};
  const int flags = AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
  if (statx(AT_FDCWD, path.c_str(), flags, STATX_MNT_ID, &info) != 0) return std::nullopt;
  if ((info.stx_attributes & STATX_ATTR_MOUNT_ROOT) == 0) return std::nullopt;
  const auto found = std::find_if(table.begin(), table.end(), [&](const MountLine& line) {
    return line.identifier == info.stx_mnt_id;
  });
  return found == table.end() ? std::nullopt : std::optional(*found);
}

void addMountsIn(const MountLine& volume, const std::vector<MountLine>& table,
                 std::vector<VolumeUser>& users) {
  for (const MountLine& line : table)
    if (line.parent == volume.identifier && line.mountedOn != volume.mountedOn)
      users.push_back({0, withoutMountEscapes(line.mountedOn), false});
}

// --- What a process does with them

struct Use {
  bool any = false;
  bool writing = false;
};

template <class Number>
Number numberIn(std::string_view text, int base) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, base);
  return number;
}

// The file's name may have blanks and colons; what stands before it has none.
std::string_view field(std::string_view line, int index) {
  for (; index > 0; --index) line.remove_prefix(std::min(line.size(), line.find(' ') + 1));
  return line.substr(0, line.find(' '));
}

// Where memory maps name the device by hexadecimal numbers, the mount table has decimal ones.
std::string mapsName(std::string_view device) {
  const auto colon = device.find(':');
  return fmt::format("{:02x}:{:02x}", numberIn<unsigned>(device.substr(0, colon), 10),
                     numberIn<unsigned>(device.substr(colon + 1), 10));
}

Use useOfDescriptors(const ProcessFolder& process, const MountsOfDevice& mounts) {
  Use use;
  for (const std::string& number : process.descriptors()) {
    const auto path = process.link(("fd/" + number).c_str());
    if (!path || !mounts.mayHold(*path)) continue;
    const std::string info = process.text(("fdinfo/" + number).c_str());
    const auto mount = valueOfLine(info, "mnt_id", ':').value_or("");
    if (!mounts.have(numberIn<std::uint64_t>(mount, 10))) continue;
    const auto flags = numberIn<unsigned>(valueOfLine(info, "flags", ':').value_or(""), 8);
    use.any = true;
    use.writing = use.writing || (flags & O_ACCMODE) != O_RDONLY;
  }
  return use;
}

bool usesDirectory(const ProcessFolder& process, const MountsOfDevice& mounts, const char* link) {
  const auto path = process.link(link);
  return path && mounts.mayHold(*path) && mounts.have(process.mountOf(link));
}

// Adds the inodes that are mapped for writing. Almost no line is about the volume, so that the text
// is searched for the device rather than taken apart.
Use useOfMappings(const ProcessFolder& process, const std::string& device,
                  std::vector<std::uint64_t>& inodes) {
  Use use;
  const std::string text = process.text("maps");
  const std::string sought = " " + device + " ";
  for (auto at = text.find(sought); at != std::string::npos;) {
    const auto start = text.rfind('\n', at) + 1;
    const auto end = std::min(text.size(), text.find('\n', at));
    const auto line = std::string_view(text).substr(start, end - start);
    at = text.find(sought, end);
    if (field(line, 3) != device) continue;
    use.any = true;
    const auto rights = field(line, 1);
    if (rights.size() < 4 || rights[1] != 'w' || rights[3] != 's') continue;
    use.writing = true;
    inodes.push_back(numberIn<std::uint64_t>(field(line, 4), 10));
  }
  return use;
}

class Search {
 public:
  explicit Search(const std::string& device) : device_(mapsName(device)), mounts_(device) {}

  void lookAt(std::int64_t number) {
    const ProcessFolder process(std::to_string(number));
    const MountsOfDevice& mounts = mounts_.of(process);
    if (mounts.paths.empty()) return;
    const Use mapped = useOfMappings(process, device_, found_.mappedInodes);
    if (number == getpid()) return;
    const Use open = useOfDescriptors(process, mounts);
    if (open.any || mapped.any || usesDirectory(process, mounts, "cwd") ||
        usesDirectory(process, mounts, "root"))
      found_.users.push_back({number, programName(process), open.writing || mapped.writing});
  }

  std::vector<VolumeUser>& users() { return found_.users; }

  VolumeUse found() && {
    auto& inodes = found_.mappedInodes;
    std::sort(inodes.begin(), inodes.end());
    inodes.erase(std::unique(inodes.begin(), inodes.end()), inodes.end());
    return std::move(found_);
  }

 private:
  const std::string device_;
  NamespaceMounts mounts_;
  VolumeUse found_;
};

// --- Who writes below a directory
//
// Paths are compared as the kernel tells them: in a process's own root they begin with the
// directory's, and what has been moved since is told where it is now. A process in another mount
// namespace is told from its root, where the same directory has the same path or lies elsewhere and
// is not found.

std::string pathBefore(std::string_view line, int fields) {
  for (; fields > 0; --fields) {
    line.remove_prefix(std::min(line.size(), line.find(' ') + 1));
    while (line.starts_with(' ')) line.remove_prefix(1);
  }
  return std::string(line);
}

bool writesToDescriptorBelow(const ProcessFolder& process, std::string_view directory) {
  for (const std::string& number : process.descriptors()) {
    const auto path = process.link(("fd/" + number).c_str());
    if (!path || path->empty() || !liesIn(*path, directory)) continue;
    const std::string info = process.text(("fdinfo/" + number).c_str());
    const auto flags = numberIn<unsigned>(valueOfLine(info, "flags", ':').value_or(""), 8);
    if ((flags & O_ACCMODE) != O_RDONLY) return true;
  }
  return false;
}

// address rights offset device inode path, see proc(5).
bool writesToMappingBelow(const ProcessFolder& process, std::string_view directory) {
  const std::string text = process.text("maps");
  for (auto at = text.find(directory); at != std::string::npos;) {
    const auto start = text.rfind('\n', at) + 1;
    const auto end = std::min(text.size(), text.find('\n', at));
    const auto line = std::string_view(text).substr(start, end - start);
    const auto rights = field(line, 1);
    if (rights.size() == 4 && rights[1] == 'w' && rights[3] == 's' &&
        liesIn(pathBefore(line, 5), directory))
      return true;
    at = text.find(directory, end);
  }
  return false;
}

bool worksBelow(const ProcessFolder& process, std::string_view directory) {
  for (const char* link : {"cwd", "root"})
    if (const auto path = process.link(link); path && !path->empty() && liesIn(*path, directory))
      return true;
  return false;
}

}  // namespace

VolumeUse usersBelow(const std::string& directory) {
  VolumeUse use;
  if (directory.empty() || directory == "/") return use;
  for (const std::int64_t number : processNumbers()) {
    if (number == getpid()) continue;
    const ProcessFolder process(std::to_string(number));
    const bool writing =
        writesToDescriptorBelow(process, directory) || writesToMappingBelow(process, directory);
    if (writing || worksBelow(process, directory))
      use.users.push_back({number, programName(process), writing});
  }
  return use;
}

VolumeUse volumeUse(const std::string& mountPoint) {
  const auto text = readMountTable();
  const auto table = parseMountTable(text ? *text : std::string_view());
  const auto volume = mountAt(mountPoint, table);
  if (!volume) return {};
  Search search{std::string(volume->device)};
  addMountsIn(*volume, table, search.users());
  for (const std::int64_t number : processNumbers()) search.lookAt(number);
  return std::move(search).found();
}

}  // namespace platform
