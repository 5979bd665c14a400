#include <fmt/format.h>

#include <cerrno>
#include <ostream>

#include "disktools/Limits.h"
#include "disktools/Media.h"
#include "disktools/Mounting.h"
#include "disktools/Verbs.h"
#include "disktools/Volume.h"

namespace disktools {

namespace {

constexpr std::string_view kPlain = "HFS+";
constexpr std::string_view kCaseSensitive = "Case-sensitive HFS+";

// Empties the device under a new name. The device that comes back is the new one.
Result<Device> renewed(const State& state, const Request& request, const std::string& node,
                       const std::string& name, bool caseSensitive) {
  if (auto failure = checkVolumeName(name)) return *failure;
  auto device = findDevice(state, request.caller, node);
  if (!device) return device.problem();
  Record record = device->record;
  record.label = name;
  record.caseSensitive = caseSensitive;
  record.mediaDirectory.clear();
  if (auto failure = renewVolume(state, *device, record)) return *failure;
  return findDevice(state, request.caller, node);
}

// Told of in the record before it is used, so that whoever unmounts it knows to remove it.
Failure showInMedia(const State& state, const Request& request, const Device& device) {
  auto place = makeMediaPlace(request.caller, device.record.label);
  if (!place) return place.problem();
  Record record = device.record;
  record.mediaDirectory = place->path;
  Failure failure = state.write(record);
  if (!failure) failure = showVolume(device, place->directory, *mountAttributes({}));
  if (failure) removeMediaPlace(place->path);
  if (!failure) request.out << fmt::format("Finished erase on {} {}\n", record.node(), place->path);
  return failure;
}

}  // namespace

Failure newFilesystem(const Request& request) {
  auto state = State::open();
  if (!state) return state.problem();
  const bool caseSensitive = request.arguments.has("-s");
  auto device = renewed(*state, request, request.arguments.operands[0],
                        request.arguments.value("-v"), caseSensitive);
  if (!device) return device.problem();
  request.out << fmt::format("Initialized /dev/r{} as a {} {}HFS Plus volume\n",
                             device->record.name(), sizeText(device->record.bytes()),
                             caseSensitive ? "case-sensitive " : "");
  return std::nullopt;
}

Failure eraseVolume(const Request& request) {
  const auto& operands = request.arguments.operands;
  if (operands[0] != kPlain && operands[0] != kCaseSensitive)
    return Problem{"unknown format " + operands[0], EINVAL, {}};
  auto state = State::open();
  if (!state) return state.problem();
  auto device = renewed(*state, request, operands[2], operands[1], operands[0] == kCaseSensitive);
  if (!device) return device.problem();
  return showInMedia(*state, request, *device);
}

}  // namespace disktools
