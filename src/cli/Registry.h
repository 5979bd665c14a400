#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "cli/Context.h"
#include "settings/Registry.h"

namespace cli {

// What the command line says of a problem, what it advises, and how it ends.
Refusal refusalOf(const settings::Problem& problem);
inline Allowed allowedBy(const settings::Outcome& outcome) {
  return outcome ? Allowed() : refusalOf(outcome.error());
}

// The registry as a command uses it: an unreadable file stops the command, and a damaged one is
// warned of, once. Main thread only.
class Registry {
 public:
  explicit Registry(std::shared_ptr<QVRamDiskEntriesDelegate> delegate = nullptr)
      : registry_(std::move(delegate)) {}

  // Reads the file anew.
  Allowed load(Context& context);

  // The same for an action that begins: see settings::Registry.
  Allowed loadSettled(Context& context);

  QVRamDiskEntries& entries() { return registry_.entries(); }
  const std::vector<QVRamDiskPtr>& disks() const { return registry_.disks(); }

  // Reads the file anew, edits and saves it in one go. With a refusal nothing is saved.
  Allowed change(Context& context, const std::function<Allowed()>& edit);
  // The same for what an action made of one disk.
  Allowed saveStateOf(const QVRamDiskPtr& disk);

  settings::Registry& room() { return registry_; }  // for the edits that the programs share

 private:
  void warnOfDamage(Context& context);
  Allowed loaded(Context& context, const settings::Outcome& outcome);

  settings::Registry registry_;
  bool warned_ = false;
};

// Reads the registry for a command. When it cannot be, that was said and the error is the status.
platform::Result<Registry, int> openRegistry(Context& context);

}  // namespace cli
