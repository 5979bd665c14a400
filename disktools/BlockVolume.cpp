#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "disktools/Ext4.h"
#include "disktools/FsContext.h"
#include "disktools/LoopDevice.h"
#include "disktools/Volume.h"
#include "leaf/DeviceNames.h"

namespace disktools {

namespace {

// The name is what /sys/block/loopK/loop/backing_file shows, the only way from a block device in
// the mount table back to ours.
Result<Descriptor> makeMemoryFile(const Record& record, const std::string& purpose) {
  Descriptor file(memfd_create(backingFileName(record.number).c_str(), MFD_CLOEXEC));
  if (!file || ftruncate(file.get(), static_cast<off_t>(record.bytes())) != 0)
    return systemProblem(purpose);
  return file;
}

// "discard" gives the memory of deleted files back to the system.
Result<Descriptor> mountExt4(const LoopDevice& loop, const std::string& purpose) {
  auto context = FsContext::open("ext4", purpose);
  if (!context) return context.problem();
  if (auto failure = context->set("source", loop.path)) return *failure;
  if (auto failure = context->set("discard")) return *failure;
  return context->mount(kVolumeAttributes);
}

}  // namespace

Result<Descriptor> makeBlockVolume(const Record& record) {
  const std::string purpose = "cannot make a file system of " + sizeText(record.bytes());
  auto file = makeMemoryFile(record, purpose);
  if (!file) return file.problem();
  const Ext4Format format{record.bytes(), record.label, record.uid, record.gid};
  if (auto failure = formatExt4(file->get(), format)) return *failure;
  auto loop = attachLoop(*file);
  if (!loop) return loop.problem();
  return mountExt4(*loop, purpose);
}

}  // namespace disktools
