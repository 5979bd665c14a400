#include <fmt/format.h>

#include <cerrno>
#include <ostream>

#include "disktools/Limits.h"
#include "disktools/PropertyList.h"
#include "disktools/Verbs.h"
#include "disktools/Volume.h"

namespace disktools {

namespace {

constexpr unsigned kFirstNumber = 4;
constexpr std::string_view kScheme = "ram://";

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

// Devices come by ascending number.
unsigned freeNumber(const std::vector<Device>& devices) {
  unsigned number = kFirstNumber;
  for (const Device& device : devices)
    if (device.record.number == number) ++number;
  return number;
}

Result<Record> recordFor(const Request& request, const std::vector<Device>& devices) {
  auto sectors = sectorsOf(request.arguments.operands[0]);
  if (!sectors) return sectors.problem();
  if (auto failure = checkSize(request.caller, *sectors, devices)) return *failure;
  auto backing = backingOf(request.arguments);
  if (!backing) return backing.problem();
  Record record;
  record.number = freeNumber(devices);
  record.uid = request.caller.uid;
  record.gid = request.caller.gid;
  record.sectors = *sectors;
  record.backing = *backing;
  record.wired = request.arguments.has("-kernel");
  return record;
}

// The record comes first: one without a mount is cleared away by the next run, a mount without a
// record would be nobody's.
Failure create(const State& state, const Record& record) {
  auto volume = makeVolume(record);
  if (!volume) return volume.problem();
  Failure failure = state.write(record);
  if (!failure) failure = installVolume(state, record, *volume);
  if (failure) state.forget(record);
  return failure;
}

std::string propertyList(const Record& record) {
  PropertyList list;
  list.openDictionary();
  list.key("system-entities");
  list.openArray();
  list.openDictionary();
  list.key("dev-entry");
  list.string(record.node());
  list.closeDictionary();
  list.closeArray();
  list.closeDictionary();
  return list.document();
}

}  // namespace

Failure attach(const Request& request) {
  auto state = State::open();
  if (!state) return state.problem();
  auto devices = liveDevices(*state);
  if (!devices) return devices.problem();
  auto record = recordFor(request, *devices);
  if (!record) return record.problem();
  if (auto failure = create(*state, *record)) return failure;
  request.out << (request.arguments.has("-plist") ? propertyList(*record) : record->node() + "\n");
  return std::nullopt;
}

}  // namespace disktools
