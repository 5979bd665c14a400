// hdiutil: attach, detach and info, a device from its making to its end.
//
// Attaching makes the volume first, aside, then writes the record, then attaches the private mount:
// in this order nothing is ever there that a later run would not clear away. Detaching is the way
// back, and all or nothing as far as the user can see: every mount of the device is taken away, and
// where one is busy those before it are put back from copies that were made of them. Only then goes
// the private mount, and with it the memory.

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mount.h>
#include <sys/sysinfo.h>

#include <cerrno>
#include <optional>
#include <ostream>

#include "disktools/Commands.h"
#include "disktools/Mounting.h"
#include "disktools/Target.h"
#include "disktools/Volume.h"

namespace disktools {

namespace {

constexpr unsigned kFirstNumber = 4;
constexpr std::string_view kScheme = "ram://";
constexpr std::size_t kMostDevices = 64;

struct Memory {
  std::uint64_t physical = 0;  // bytes
  std::uint64_t withSwap = 0;
};

Memory memory() {
  struct sysinfo info {};
  if (sysinfo(&info) != 0) return {};
  const std::uint64_t unit = info.mem_unit;
  return {info.totalram * unit, (info.totalram + info.totalswap) * unit};
}

Outcome checkShare(const Caller& caller, std::uint64_t bytes, const std::vector<Device>& devices,
                   std::uint64_t most) {
  std::uint64_t total = bytes;
  std::size_t count = 0;
  for (const Device& device : devices) {
    if (device.record.uid != caller.uid) continue;
    total += device.record.bytes();
    ++count;
  }
  if (count >= kMostDevices) return Problem{"you have 64 devices already", EDQUOT, "detach one"};
  if (total <= most) return {};
  return Problem{
      "your devices would take " + sizeText(total) + " of the machine's " + sizeText(most), EDQUOT,
      "detach one or ask for less"};
}

// Nobody gets a device larger than memory and swap. All devices of one user but root together get
// no more than the memory, and are no more than 64.
Outcome checkSize(const Caller& caller, std::uint64_t sectors, const std::vector<Device>& devices) {
  const Memory available = memory();
  if (sectors > available.withSwap / 512)
    return Problem{"cannot make a file system of " + std::to_string(sectors) + " sectors", ENOSPC,
                   "the machine has " + sizeText(available.withSwap) + " with its swap"};
  return caller.isRoot() ? Outcome()
                         : checkShare(caller, sectors * 512, devices, available.physical);
}

Result<std::uint64_t> sectorsOf(const std::string& url) {
  const bool named = url.starts_with(kScheme);
  const auto sectors = named ? decimal(url.substr(kScheme.size())) : std::nullopt;
  if (sectors && *sectors > 0) return *sectors;
  return Problem{fmt::format("{} is not ram:// and a number of sectors", url), EINVAL, {}};
}

Result<Backing> backingOf(const Arguments& arguments) {
  if (!arguments.has("-backing")) return bestBacking();
  const std::string name = arguments.value("-backing");
  if (const auto backing = backingFromName(name)) return *backing;
  return Problem{fmt::format("there is no backing {}", name), EINVAL, "tmpfs and block are"};
}

// What is left of others, which cannot be told to be gone, keeps its number too. They come
// ascending.
unsigned freeNumber(const State& state) {
  unsigned number = kFirstNumber;
  for (const unsigned taken : state.numbers())
    if (taken == number) ++number;
  return number;
}

Result<Record> recordFor(const State& state, const Request& request,
                         const std::vector<Device>& devices) {
  auto sectors = sectorsOf(request.arguments.operands[0]);
  if (!sectors) return sectors.error();
  if (auto done = checkSize(request.caller, *sectors, devices); !done) return done.error();
  auto backing = backingOf(request.arguments);
  if (!backing) return backing.error();
  Record record;
  record.number = freeNumber(state);
  record.uid = request.caller.uid;
  record.gid = request.caller.gid;
  record.sectors = *sectors;
  record.backing = *backing;
  record.wired = request.arguments.has("-kernel");
  record.mountNamespace = ownMountNamespace();
  return record;
}

Outcome create(const State& state, const Record& record) {
  auto volume = makeVolume(record);
  if (!volume) return volume.error();
  Outcome done = state.write(record);
  if (done) done = installVolume(state, record, *volume);
  if (!done) state.forget(record);
  return done;
}

std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : validText(text)) {
    if (c == '&')
      out += "&amp;";
    else if (c == '<')
      out += "&lt;";
    else if (c == '>')
      out += "&gt;";
    else
      out += c;
  }
  return out;
}

// A writer of XML property lists, small enough to be trusted here. Every open…() is paired with its
// close…(); key() stands before each value of a dictionary.
class PropertyList {
 public:
  void openDictionary() { line("<dict>"), ++depth_; }
  void closeDictionary() { --depth_, line("</dict>"); }
  void openArray() { line("<array>"), ++depth_; }
  void closeArray() { --depth_, line("</array>"); }
  void key(std::string_view name) { line("<key>" + escaped(name) + "</key>"); }
  void string(std::string_view value) { line("<string>" + escaped(value) + "</string>"); }

  std::string document() const {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
)" + body_ +
           "</plist>\n";
  }

 private:
  void line(std::string_view text) { body_.append(depth_, '\t').append(text).append("\n"); }

  std::string body_;
  std::size_t depth_ = 0;
};

// What attaching and listing have in common: an array of the device's one entity.
void addEntities(PropertyList& list, const std::string& node,
                 const std::optional<std::string>& path) {
  list.key("system-entities");
  list.openArray();
  list.openDictionary();
  list.key("dev-entry");
  list.string(node);
  if (path) {
    list.key("mount-point");
    list.string(*path);
  }
  list.closeDictionary();
  list.closeArray();
}

std::string propertyList(const Record& record) {
  PropertyList list;
  list.openDictionary();
  addEntities(list, record.node(), std::nullopt);
  list.closeDictionary();
  return list.document();
}

std::string imagePath(const Record& record) { return fmt::format("ram://{}", record.sectors); }

// The first mount of the whole volume; of a part of it when there is no other.
std::optional<std::string> mountPoint(const Device& device) {
  for (const MountEntry& entry : device.mounts)
    if (entry.root == device.home.root) return entry.path;
  return std::nullopt;
}

void describe(const Device& device, PropertyList& list) {
  list.openDictionary();
  list.key("image-path");
  list.string(imagePath(device.record));
  addEntities(list, device.record.node(), mountPoint(device));
  list.closeDictionary();
}

std::string propertyList(const std::vector<Device>& devices) {
  PropertyList list;
  list.openDictionary();
  list.key("images");
  list.openArray();
  for (const Device& device : devices) describe(device, list);
  list.closeArray();
  list.closeDictionary();
  return list.document();
}

std::string lines(const std::vector<Device>& devices) {
  std::string all;
  for (const Device& device : devices)
    all += fmt::format("{}\t{}\t{}\n", device.record.node(), imagePath(device.record),
                       mountPoint(device).value_or(""));
  return all;
}

bool mayList(const Request& request, const Record& record) {
  if (!request.caller.mayUse(record.uid)) return false;
  if (!record.damaged()) return true;
  request.err << fmt::format("hdiutil: info: the record of {} is damaged: detach it\n",
                             record.node());
  return false;
}

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
Outcome take(const MountEntry& entry, std::vector<Taken>& taken) {
  auto point = pinMountPoint(Caller{}, entry.path);
  if (!point) return point.error();
  if (point->entry.id != entry.id)
    return Problem{"the mount at " + entry.path + " is covered by another", EBUSY, {}};
  const unsigned clone = OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | AT_SYMLINK_NOFOLLOW;
  Descriptor copy(open_tree(point->parent.get(), point->name.c_str(), clone));
  if (auto done = unmount(*point, false); !done) return done;
  taken.push_back({std::move(*point), std::move(copy)});
  return {};
}

Outcome unmountEverywhere(const Device& device) {
  std::vector<Taken> taken;
  for (auto entry = device.mounts.rbegin(); entry != device.mounts.rend(); ++entry) {
    auto done = take(*entry, taken);
    if (done) continue;
    putBack(taken);
    return done;
  }
  return {};
}

}  // namespace

Outcome attach(const Request& request) {
  auto state = State::open();
  if (!state) return state.error();
  auto devices = liveDevices(*state);
  if (!devices) return devices.error();
  auto record = recordFor(*state, request, *devices);
  if (!record) return record.error();
  if (auto done = create(*state, *record); !done) return done;
  request.out << (request.arguments.has("-plist") ? propertyList(*record) : record->node() + "\n");
  return {};
}

Outcome detach(const Request& request) {
  auto state = State::open();
  if (!state) return state.error();
  auto device = findDevice(*state, request.caller, request.arguments.operands[0]);
  if (!device) return device.error();
  if (auto done = unmountEverywhere(*device); !done) return done;
  removeMediaPlace(device->record.mediaDirectory);
  if (auto done = dropVolume(device->record, true); !done) return done;
  state->forget(device->record);
  return {};
}

Outcome info(const Request& request) {
  auto state = State::open();
  if (!state) return state.error();
  auto devices = liveDevices(*state);
  if (!devices) return devices.error();
  std::erase_if(*devices, [&](const Device& device) { return !mayList(request, device.record); });
  request.out << (request.arguments.has("-plist") ? propertyList(*devices) : lines(*devices));
  return {};
}

}  // namespace disktools
