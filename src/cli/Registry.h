#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/Context.h"
#include "ramdisk/QVRamDiskEntries.h"

namespace cli {

// The registry as a command uses it: an unreadable file stops the command instead of counting as
// an empty list. Main thread only.
class Registry {
 public:
  explicit Registry(std::shared_ptr<QVRamDiskEntriesDelegate> delegate = nullptr);

  // Reads the file anew and brings every disk in line with the system. A missing file is an empty
  // list. Warns of records that could not be read, once.
  std::optional<Refusal> load(Context& context);

  QVRamDiskEntries& entries() { return *entries_; }
  const std::vector<QVRamDiskPtr>& disks() const { return entries_->ramDisks(); }
  bool isFull() const { return disks().size() >= QVRamDiskEntries::kMostRamDisks; }

  // Writes the list and tells the user's other programs.
  std::optional<Refusal> save();
  // The same for one disk whose action may have taken long: of the others, what the file says now
  // is kept.
  std::optional<Refusal> saveDisk(const QVRamDiskPtr& disk);

 private:
  std::optional<Refusal> saved(bool written) const;

  std::shared_ptr<QVRamDiskEntries> entries_;
  bool warned_ = false;
};

// Reads the registry for a command; nullopt, with the reason said and `status` set, when it cannot.
std::optional<Registry> openRegistry(Context& context, int& status);

}  // namespace cli
