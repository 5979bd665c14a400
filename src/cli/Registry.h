#pragma once

#include <functional>
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

  // The same for an action that begins: see settings::Registry.
  std::optional<Refusal> loadSettled(Context& context);

  QVRamDiskEntries& entries() { return registry_.entries(); }
  const std::vector<QVRamDiskPtr>& disks() const { return registry_.disks(); }

  // Reads the file anew, edits and saves it in one go. With a refusal nothing is saved.
  std::optional<Refusal> change(Context& context,
                                const std::function<std::optional<Refusal>()>& edit);
  // The same for what an action made of one disk.
  std::optional<Refusal> saveStateOf(const QVRamDiskPtr& disk);

  settings::Registry& room() { return registry_; }  // for the edits that the programs share

 private:
  void warnOfDamage(Context& context);
  std::optional<Refusal> loaded(Context& context, const std::optional<settings::Problem>& problem);

  settings::Registry registry_;
  bool warned_ = false;
};

// Reads the registry for a command; nullopt, with the reason said and `status` set, when it cannot.
std::optional<Registry> openRegistry(Context& context, int& status);

}  // namespace cli
