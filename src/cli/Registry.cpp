#include "cli/Registry.h"

#include "cli/Refusals.h"

namespace cli {

std::optional<Refusal> Registry::load(Context& context) {
  if (const auto problem = registry_.load()) return refusalOf(*problem);
  const bool damaged = registry_.isPartlyDamaged();
  if (damaged && !warned_)
    context.warn("part of the registry " + RegistryFile::defaultPath().value_or("") +
                 " cannot be read; a copy of it is kept before it is changed");
  warned_ = warned_ || damaged;
  return std::nullopt;
}

std::optional<Refusal> Registry::save() { return refusalOf(registry_.save()); }

std::optional<Refusal> Registry::saveDisk(const QVRamDiskPtr& disk) {
  return refusalOf(registry_.saveDisk(disk));
}

std::optional<Registry> openRegistry(Context& context, int& status) {
  Registry registry;
  const auto refusal = registry.load(context);
  if (!refusal) return registry;
  status = context.refuse(*refusal);
  return std::nullopt;
}

}  // namespace cli
