#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "ramdisk/QVRamDiskEntries.h"
#include "settings/Problem.h"

namespace settings {

// The registry as a program uses it that changes it: an unreadable file is a problem instead of an
// empty list. Main thread only.
class Registry {
 public:
  // Changes the list; a problem means that nothing is to be saved.
  using Edit = std::function<Outcome()>;

  explicit Registry(std::shared_ptr<QVRamDiskEntriesDelegate> delegate = nullptr);

  // Reads the file anew and brings every disk in line with the system. A missing file is an empty
  // list.
  Outcome load();
  // The same when nobody is in the middle of changing it: for an action, whose disk stays as it is
  // found from then on. A program that keeps the file locked for long is not waited for.
  Outcome loadSettled();
  // Whether some of the last file read could not be: it is copied before it is changed.
  bool isPartlyDamaged() const { return entries_->lastReading() == RegistryReading::PartlyDamaged; }

  QVRamDiskEntries& entries() { return *entries_; }
  const std::vector<QVRamDiskPtr>& disks() const { return entries_->ramDisks(); }
  bool isFull() const { return disks().size() >= QVRamDiskEntries::kMostRamDisks; }

  // Reads the file anew, edits and writes it in one go, which no other program's change comes
  // between, and tells the user's other programs. What is not saved is not in the list either.
  Outcome change(const Edit& edit);
  // The same for what an action made of one disk.
  Outcome saveStateOf(const QVRamDiskPtr& disk);

 private:
  Outcome checkReading() const;

  std::shared_ptr<QVRamDiskEntries> entries_;
};

}  // namespace settings
