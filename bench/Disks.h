#pragma once

#include <memory>
#include <string>

#include "ramdisk/QVRamDiskEntries.h"

namespace bench {

// As many mounted disks as there may be, named "disk0" and so on, over folders of `folder`, in the
// registry of the home folder. They are ejected when this goes.
class MountedDisks {
 public:
  explicit MountedDisks(const std::string& folder);
  ~MountedDisks();
  MountedDisks(const MountedDisks&) = delete;
  MountedDisks& operator=(const MountedDisks&) = delete;

  QVRamDiskEntries& entries() { return *entries_; }

 private:
  std::shared_ptr<QVRamDiskEntries> entries_ = QVRamDiskEntries::init();
};

}  // namespace bench
