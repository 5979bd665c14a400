#include "disktools/Devices.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <map>
#include <optional>

#include "leaf/MountTable.h"

namespace disktools {

namespace {

// Where several mounts cover one another at the path, the last one is the visible one.
std::optional<MountEntry> homeOf(const Record& record, const std::vector<MountEntry>& mounts) {
  const std::string path = State::home(record);
  std::optional<MountEntry> home;
  for (const MountEntry& entry : mounts)
    if (entry.path == path) home = entry;
  return home;
}

Device deviceOf(const Record& record, const MountEntry& home,
                const std::vector<MountEntry>& mounts) {
  Device device{record, home, {}};
  for (const MountEntry& entry : mounts)
    if (entry.device == home.device && entry.path != home.path) device.mounts.push_back(entry);
  return device;
}

std::string linkTarget(const std::string& path) {
  std::array<char, 64> text{};
  const ssize_t length = readlink(path.c_str(), text.data(), text.size());
  return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

std::vector<MountEntry> entriesOf(std::string_view table) {
  std::vector<MountEntry> mounts;
  for (const MountLine& line : parseMountTable(table))
    mounts.push_back({line.identifier, std::string(line.device), withoutMountEscapes(line.root),
                      withoutMountEscapes(line.mountedOn)});
  return mounts;
}

// The mount namespaces in which any process of the machine lives, and what is mounted in them. Not
// complete for who does not see all processes: then nothing is known to be gone.
class Namespaces {
 public:
  bool isComplete() const { return complete_; }
  bool has(const std::string& mountNamespace) const { return tables_.contains(mountNamespace); }
  bool show(const Record& record) const {
    return std::any_of(tables_.begin(), tables_.end(),
                       [&](const auto& table) { return homeOf(record, table.second).has_value(); });
  }

  static Namespaces look();

 private:
  void add(const std::string& process);

  bool complete_ = false;
  std::map<std::string, std::vector<MountEntry>> tables_;
};

// Only there no process is hidden from root.
bool isFirstProcessNamespace() {
  constexpr std::string_view kFirst = "pid:[4026531836]";
  return linkTarget("/proc/self/ns/pid") == kFirst;
}

Namespaces Namespaces::look() {
  Namespaces found;
  found.complete_ = isFirstProcessNamespace();
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error))
    if (decimal(entry.path().filename().string())) found.add(entry.path().string());
  found.complete_ = found.complete_ && !error;
  return found;
}

// A process that has ended meanwhile hides nothing.
void Namespaces::add(const std::string& process) {
  const std::string name = linkTarget(process + "/ns/mnt");
  if (name.empty()) {
    complete_ = complete_ && (errno == ENOENT || errno == ESRCH);
  } else if (!tables_.contains(name)) {
    const auto table = readMountTable(process);
    if (table && !table->empty()) tables_.emplace(name, entriesOf(*table));
  }
}

// What can be told of the devices from here. The processes are asked only where something is not as
// it is on a machine with one namespace.
class Sight {
 public:
  explicit Sight(const State& state) : state_(state), here_(ownMountNamespace()) {}

  bool isElsewhere(const Record& record) {
    if (record.mountNamespace.empty() || record.mountNamespace == here_) return false;
    return !all().isComplete() || all().has(record.mountNamespace);
  }
  bool isGone(const Record& record) {
    if (!state_.hasHome(record)) return true;
    if (!here_.empty() && record.mountNamespace == here_) return true;
    return all().isComplete() && !all().show(record);
  }

 private:
  const Namespaces& all() {
    if (!all_) all_ = Namespaces::look();
    return *all_;
  }

  const State& state_;
  const std::string here_;
  std::optional<Namespaces> all_;
};

}  // namespace

std::string ownMountNamespace() { return linkTarget("/proc/self/ns/mnt"); }

Result<std::vector<MountEntry>> readMounts() {
  auto mounts = entriesOf(readMountTable().value_or(""));
  if (mounts.empty()) return Problem{"cannot read the mount table", 0, "is /proc mounted?"};
  return mounts;
}

Result<std::vector<Device>> liveDevices(const State& state) {
  const auto mounts = readMounts();
  if (!mounts) return mounts.error();
  Sight sight(state);
  std::vector<Device> devices;
  for (const unsigned number : state.numbers()) {
    const Record record = state.read(number);
    if (const auto home = homeOf(record, *mounts)) {
      devices.push_back(deviceOf(record, *home, *mounts));
      devices.back().isElsewhere = sight.isElsewhere(record);
    } else if (sight.isGone(record)) {
      state.forget(record);
    } else if (!record.damaged()) {
      devices.push_back({record, {}, {}, true});
    }
  }
  return devices;
}

Outcome checkAccess(const Device& device, const Caller& caller, std::string_view name) {
  if (!caller.mayUse(device.record.uid))
    return Problem{fmt::format("{} belongs to another user", name), EPERM, {}};
  if (!device.isElsewhere) return {};
  return Problem{fmt::format("{} was attached in another mount namespace", name), 0,
                 "it can be acted on from there only"};
}

Result<Device> findDevice(const State& state, const Caller& caller, std::string_view node) {
  const auto number = deviceNumber(node);
  if (!number) return Problem{fmt::format("{} is not a device node like /dev/disk4", node), 0, {}};
  auto devices = liveDevices(state);
  if (!devices) return devices.error();
  for (Device& device : *devices) {
    if (device.record.number != *number) continue;
    if (auto may = checkAccess(device, caller, node); !may) return may.error();
    return std::move(device);
  }
  return Problem{fmt::format("there is no {}", node), ENXIO, "hdiutil info lists your devices"};
}

Outcome refuseUnlessIdle(const Device& device) {
  const Record& record = device.record;
  if (record.damaged())
    return Problem{"the record of " + record.node() + " is damaged", 0, "root can detach it"};
  if (device.mounts.empty()) return {};
  return Problem{fmt::format("{} is mounted at {}", record.node(), device.mounts.front().path),
                 EBUSY, "unmount it first"};
}

}  // namespace disktools
