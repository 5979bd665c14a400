#include "cli/Registry.h"

#include "cli/Words.h"

namespace cli {
namespace {

ExitStatus statusOf(Trouble trouble) {
  switch (trouble) {
    case Trouble::SimulatorOfOtherKind:
    case Trouble::PlaceOfPreset:
    case Trouble::BackupDirectoryUnused:
    case Trouble::BackupDirectoryUnspecified:
      return kWrongUsage;  // what was asked for does not go together
    case Trouble::RegistryWithoutFolder:
    case Trouble::RegistryUnreadable:
    case Trouble::RegistryUnwritable:
    case Trouble::RegistryBusy:
      return kActionFailed;
    case Trouble::Gone:
      return kNoSuchDisk;
    default:
      return kRefused;
  }
}

bool isAboutKind(Trouble trouble) {
  return trouble == Trouble::KindNotInstalled || trouble == Trouble::KindUnusable ||
         trouble == Trouble::PlaceOfPreset;
}

}  // namespace

Refusal refusalOf(const settings::Problem& problem) {
  TroubleFacts facts = problem.facts;
  if (isAboutKind(problem.trouble))
    facts.text = kindWords().of(static_cast<QVRamDiskType>(problem.kind));
  auto [what, todo] = commandSentence(problem.trouble, facts);
  return {statusOf(problem.trouble), std::move(what), std::move(todo)};
}

void Registry::warnOfDamage(Context& context) {
  const bool damaged = registry_.isPartlyDamaged();
  if (damaged && !warned_)
    context.warn("part of the registry " + RegistryFile::defaultPath().value_or("") +
                 " cannot be read; a copy of it is kept before it is changed");
  warned_ = warned_ || damaged;
}

Allowed Registry::loaded(Context& context, const settings::Outcome& outcome) {
  if (outcome) warnOfDamage(context);
  return allowedBy(outcome);
}

Allowed Registry::load(Context& context) { return loaded(context, registry_.load()); }

Allowed Registry::loadSettled(Context& context) { return loaded(context, registry_.loadSettled()); }

// The refusal of an edit is the command's own, which the registry need only know to stop.
Allowed Registry::change(Context& context, const std::function<Allowed()>& edit) {
  Allowed edited;
  const auto changed = registry_.change([&]() -> settings::Outcome {
    warnOfDamage(context);
    edited = edit();
    return edited ? settings::Outcome() : settings::Problem{};
  });
  return edited ? allowedBy(changed) : edited;
}

Allowed Registry::saveStateOf(const QVRamDiskPtr& disk) {
  return allowedBy(registry_.saveStateOf(disk));
}

platform::Result<Registry, int> openRegistry(Context& context) {
  Registry registry;
  if (const auto loaded = registry.load(context); !loaded) return context.refuse(loaded.error());
  return registry;
}

}  // namespace cli
