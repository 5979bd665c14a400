#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "cli/Context.h"
#include "settings/Registry.h"

namespace cli {

// The registry as a command uses it: an unreadable file stops the command. Main thread only.
class Registry {
 public:
  explicit Registry(std::shared_ptr<QVRamDiskEntriesDelegate> delegate = nullptr)
      : registry_(std::move(delegate)) {}

  // Reads the file anew. Warns of records that could not be read, once.
  std::optional<Refusal> load(Context& context);

  QVRamDiskEntries& entries() { return registry_.entries(); }
  const std::vector<QVRamDiskPtr>& disks() const { return registry_.disks(); }

  // Writes the list and tells the user's other programs.
  std::optional<Refusal> save();
  // The same for one disk whose action may have taken long.
  std::optional<Refusal> saveDisk(const QVRamDiskPtr& disk);

 private:
  settings::Registry registry_;
  bool warned_ = false;
};

// Reads the registry for a command; nullopt, with the reason said and `status` set, when it cannot.
std::optional<Registry> openRegistry(Context& context, int& status);

}  // namespace cli
