#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "ramdisk/QVRamDiskEntries.h"
#include "settings/Problem.h"

namespace settings {

// The registry as a program uses it that changes it: an unreadable file is a problem instead of an
// empty list. Main thread only.
class Registry {
 public:
  explicit Registry(std::shared_ptr<QVRamDiskEntriesDelegate> delegate = nullptr);

  // Reads the file anew and brings every disk in line with the system. A missing file is an empty
  // list.
  std::optional<Problem> load();
  // Whether some of the last file read could not be: it is copied before it is changed.
  bool isPartlyDamaged() const { return partlyDamaged_; }

  QVRamDiskEntries& entries() { return *entries_; }
  const std::vector<QVRamDiskPtr>& disks() const { return entries_->ramDisks(); }
  bool isFull() const { return disks().size() >= QVRamDiskEntries::kMostRamDisks; }

  // Writes the list and tells the user's other programs.
  std::optional<Problem> save();
  // The same for one disk whose action may have taken long: of the others, what the file says now
  // is kept.
  std::optional<Problem> saveDisk(const QVRamDiskPtr& disk);

 private:
  std::optional<Problem> saved(bool written) const;

  std::shared_ptr<QVRamDiskEntries> entries_;
  bool partlyDamaged_ = false;
};

}  // namespace settings
