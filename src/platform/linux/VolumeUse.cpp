#include "platform/linux/VolumeUse.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "platform/linux/KeyedText.h"
#include "platform/linux/NamespaceMounts.h"
#include "platform/linux/ProcessFolder.h"

namespace platform {
namespace {

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

}  // namespace

VolumeUse volumeUse(const std::string& mountPoint) {
  const std::string device = deviceMountedAt(mountPoint);
  if (device.empty()) return {};
  Search search(device);
  for (const std::int64_t number : processNumbers()) search.lookAt(number);
  return std::move(search).found();
}

}  // namespace platform
