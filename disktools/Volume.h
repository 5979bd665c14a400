#pragma once
// The file system that is a device's contents.
//
// Whatever it is kept in, a volume is made as a mount that is attached nowhere: until the last step
// its descriptor is all that holds it, so that a failure, or a program that is killed, leaves
// nothing behind. `installVolume` attaches it as the device's private mount, and `dropVolume` takes
// that away, with which the memory goes back.
//
// Memory: a tmpfs. The kernel gives and takes its pages as files come and go, and the mount table
// names the device as its source. Only from 6.6 on does it keep user attributes, which saved
// contents need; whether it does is tried, not looked up by version.
//
// Block (BlockVolume.cpp): an ext4 file system on a loop device over a file in memory. The kernel
// frees the loop device by itself once it is neither open nor mounted, and the file, which has no
// name, with it. "discard" punches the holes that give back the memory of deleted files.

#include <cstdint>
#include <string>

#include "disktools/Devices.h"
#include "disktools/State.h"

namespace disktools {

// What every volume is mounted with, wherever: no rights nor devices come out of it.
extern const std::uint64_t kVolumeAttributes;

// Memory where this kernel keeps user attributes on it, a block device elsewhere.
Backing bestBacking();

// A fresh, empty volume of the record's size whose root belongs to the record's user, as a mount
// that is attached nowhere. Nothing is left behind on failure.
Result<Descriptor> makeVolume(const Record& record);
Result<Descriptor> makeMemoryVolume(const Record& record);
Result<Descriptor> makeBlockVolume(const Record& record);

// Attaches the volume as the device's private mount.
Outcome installVolume(const State& state, const Record& record, const Descriptor& volume);

// Drops the private mount and with it the contents. A busy one is refused, or given up to those
// who still use it when `force` is set.
Outcome dropVolume(const Record& record, bool force);

// Gives an idle device a fresh volume, described by `record`. The old contents are lost.
Outcome renewVolume(const State& state, const Device& device, const Record& record);

// A file system being configured, see fsopen(2). What the kernel has to say about a refusal is
// part of the problem that is handed back.
class FsContext {
 public:
  // `purpose` begins every problem: "cannot make a file system of 512 MB".
  static Result<FsContext> open(const char* type, std::string purpose);

  Outcome set(const char* key, const std::string& value);
  Outcome set(const char* flag);

  // Makes the file system and a mount of it that is attached nowhere.
  Result<Descriptor> mount(std::uint64_t attributes);

 private:
  FsContext(Descriptor context, std::string purpose)
      : context_(std::move(context)), purpose_(std::move(purpose)) {}

  Problem refused() const;

  Descriptor context_;
  std::string purpose_;
};

}  // namespace disktools
