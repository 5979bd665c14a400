#include "settings/Edits.h"

#include <algorithm>

#include "platform/Services.h"
#include "settings/DiskState.h"
#include "settings/Validation.h"

namespace settings {
namespace {

using Found = std::optional<Problem>;

bool hasPlace(const std::vector<QVRamDiskPtr>& disks, const QVRamDisk& own) {
  return std::any_of(disks.begin(), disks.end(), [&](const auto& disk) {
    return disk.get() != &own && mountPathOf(*disk) == mountPathOf(own);
  });
}

// "RamDisk", "RamDisk 2" and so on.
void giveFreeName(QVRamDisk& disk, const std::vector<QVRamDiskPtr>& disks) {
  const std::string first = disk.name().value_or("");
  for (int number = 2; hasPlace(disks, disk); ++number)
    disk.setName(first + " " + std::to_string(number));
}

// Reads the registry and finds a disk in it.
Found find(Registry& registry, const Identifier& identifier, QVRamDiskPtr& disk) {
  if (auto problem = registry.load()) return problem;
  disk = registry.entries().ramDiskWithIdentifier(identifier);
  return disk ? std::nullopt : Found(Problem{.reason = Reason::Gone});
}

}  // namespace

Found addDisk(Registry& registry, Identifier& added) {
  if (auto problem = registry.load()) return problem;
  const auto disk = registry.entries().addRamDisk();
  if (!disk) return Problem{.reason = Reason::Full};
  giveFreeName(*disk, registry.disks());
  added = disk->identifier();
  return registry.save();
}

Found changeDisk(Registry& registry, const Identifier& identifier, const Change& wanted) {
  QVRamDiskPtr disk;
  if (auto problem = find(registry, identifier, disk)) return problem;
  if (auto problem = change(*disk, wanted, registry.disks())) {
    registry.load();  // the record may hold some of it
    return problem;
  }
  if (auto problem = registry.save()) return problem;
  if (wanted.atLogin) registry.entries().synchronizeHelper();
  return std::nullopt;
}

Found removeDisk(Registry& registry, const Identifier& identifier, Identifier& next) {
  QVRamDiskPtr disk;
  if (auto problem = find(registry, identifier, disk)) return problem;
  DiskState state(registry.disks());
  if (auto problem = problemOfRemoving(*disk, state)) return problem;
  const auto selected = registry.entries().removeEntry(disk);
  next = selected ? selected->identifier() : std::nullopt;
  if (auto problem = registry.save()) return problem;
  registry.entries().synchronizeHelper();
  return std::nullopt;
}

Found moveDisk(Registry& registry, const Identifier& identifier, std::int64_t gap) {
  QVRamDiskPtr disk;
  if (auto problem = find(registry, identifier, disk)) return problem;
  const auto count = static_cast<std::int64_t>(registry.disks().size());
  if (!registry.entries().setPositionIndex(std::clamp<std::int64_t>(gap, 0, count), disk))
    return Problem{.reason = Reason::Gone};
  return registry.save();
}

std::optional<std::string> backupLostByRemoving(const QVRamDisk& disk) {
  const auto kept = copyOf(disk);
  if (!kept) return std::nullopt;
  kept->setBackupMode(QVRamDiskBackupMode_AppSupport);
  const auto folder = kept->backupDirPath();
  const bool isThere =
      folder && platform::services().files->kind(*folder) != platform::FileKind::Missing;
  return isThere ? folder : std::nullopt;
}

}  // namespace settings
