#pragma once
// Making the file system that is a device's contents.

#include "disktools/Devices.h"
#include "disktools/Record.h"
#include "disktools/Result.h"
#include "disktools/State.h"
#include "leaf/Descriptor.h"

namespace disktools {

// What every volume is mounted with, wherever: no rights nor devices come out of it.
extern const std::uint64_t kVolumeAttributes;

// Memory where this kernel keeps user attributes on it (from 6.6 on), a block device elsewhere.
Backing bestBacking();

// A fresh, empty volume of the record's size whose root belongs to the record's user, as a mount
// that is attached nowhere. Nothing is left behind on failure.
Result<Descriptor> makeVolume(const Record& record);
Result<Descriptor> makeMemoryVolume(const Record& record);
Result<Descriptor> makeBlockVolume(const Record& record);

// Attaches the volume as the device's private mount.
Failure installVolume(const State& state, const Record& record, const Descriptor& volume);

// Drops the private mount and with it the contents. A busy one is refused, or given up to those
// who still use it when `force` is set.
Failure dropVolume(const Record& record, bool force);

// Gives an idle device a fresh volume, described by `record`. The old contents are lost.
Failure renewVolume(const State& state, const Device& device, const Record& record);

}  // namespace disktools
