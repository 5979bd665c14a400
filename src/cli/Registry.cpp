#include "cli/Registry.h"

#include "cli/Refusals.h"

namespace cli {

void Registry::warnOfDamage(Context& context) {
  const bool damaged = registry_.isPartlyDamaged();
  if (damaged && !warned_)
    context.warn("part of the registry " + RegistryFile::defaultPath().value_or("") +
                 " cannot be read; a copy of it is kept before it is changed");
  warned_ = warned_ || damaged;
}

std::optional<Refusal> Registry::loaded(Context& context,
                                        const std::optional<settings::Problem>& problem) {
  if (!problem) warnOfDamage(context);
  return refusalOf(problem);
}

std::optional<Refusal> Registry::load(Context& context) {
  return loaded(context, registry_.load());
}

std::optional<Refusal> Registry::loadSettled(Context& context) {
  return loaded(context, registry_.loadSettled());
}

std::optional<Refusal> Registry::change(Context& context,
                                        const std::function<std::optional<Refusal>()>& edit) {
  std::optional<Refusal> refused;
  const auto problem = registry_.change([&]() -> std::optional<settings::Problem> {
    warnOfDamage(context);
    refused = edit();
    return refused ? std::optional(settings::Problem{}) : std::nullopt;
  });
  return refused ? refused : refusalOf(problem);
}

std::optional<Refusal> Registry::saveStateOf(const QVRamDiskPtr& disk) {
  return refusalOf(registry_.saveStateOf(disk));
}

std::optional<Registry> openRegistry(Context& context, int& status) {
  Registry registry;
  const auto refusal = registry.load(context);
  if (!refusal) return registry;
  status = context.refuse(*refusal);
  return std::nullopt;
}

}  // namespace cli
