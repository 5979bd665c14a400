#include "settings/Edits.h"

#include <algorithm>
#include <functional>
#include <string>

#include "platform/Services.h"
#include "ramdisk/QVRamDiskPreferences.h"
#include "settings/DiskState.h"
#include "settings/Validation.h"
#include "system/QVRamDiskUtils.h"

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

// Changes one disk of the registry; `edit` is given it as it is at that moment.
Found changeOne(Registry& registry, const Identifier& identifier,
                const std::function<Found(const QVRamDiskPtr&)>& edit) {
  return registry.change([&]() -> Found {
    const auto disk = registry.entries().ramDiskWithIdentifier(identifier);
    return disk ? edit(disk) : Problem{.reason = Reason::Gone};
  });
}

Found takeOut(Registry& registry, const QVRamDiskPtr& disk, Identifier& next) {
  DiskState state(registry.disks());
  if (auto problem = problemOfRemoving(*disk, state)) return problem;
  const auto selected = registry.entries().takeOut(disk);
  next = selected ? selected->identifier() : std::nullopt;
  return std::nullopt;
}

// The gap in the list as it is now that lies before the disk that the shown one had it before.
struct Gap {
  Gap(const std::vector<QVRamDiskPtr>& shown, std::int64_t index) : index_(index) {
    const auto count = static_cast<std::int64_t>(shown.size());
    isLast_ = index >= count;
    if (index >= 0 && !isLast_) follower_ = shown[static_cast<std::size_t>(index)]->identifier();
  }

  std::int64_t in(const QVRamDiskEntries& entries) const {
    const auto count = static_cast<std::int64_t>(entries.ramDisks().size());
    const auto found = entries.indexOfRamDiskWithIdentifier(follower_);
    if (found >= 0) return found;
    return isLast_ ? count : std::clamp<std::int64_t>(index_, 0, count);
  }

 private:
  std::int64_t index_;
  bool isLast_;
  Identifier follower_;
};

}  // namespace

Found addDisk(Registry& registry, Identifier& added) {
  return registry.change([&]() -> Found {
    const auto disk = registry.entries().addRamDisk();
    if (!disk) return Problem{.reason = Reason::Full};
    giveFreeName(*disk, registry.disks());
    added = disk->identifier();
    return std::nullopt;
  });
}

Found changeDisk(Registry& registry, const Identifier& identifier, const Change& wanted) {
  auto problem = changeOne(registry, identifier, [&](const auto& disk) {
    return change(*disk, wanted, registry.disks());
  });
  if (!problem && wanted.atLogin) registry.entries().synchronizeHelper();
  return problem;
}

Found removeDisk(Registry& registry, const Identifier& identifier, Identifier& next) {
  QVRamDiskPtr removed;
  auto problem = changeOne(registry, identifier, [&](const auto& disk) {
    removed = disk;
    return takeOut(registry, disk, next);
  });
  if (problem) return problem;
  removed->deleteBackupDirs();
  registry.entries().synchronizeHelper();
  return std::nullopt;
}

Found moveDisk(Registry& registry, const Identifier& identifier, std::int64_t index) {
  const Gap gap(registry.disks(), index);
  return changeOne(registry, identifier, [&](const auto& disk) -> Found {
    registry.entries().setPositionIndex(gap.in(registry.entries()), disk);
    return std::nullopt;
  });
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

std::optional<Problem> setMenuBar(Registry& registry, std::optional<bool> show,
                                  std::optional<bool> atLogin) {
  auto& entries = registry.entries();
  auto problem = registry.change([&]() -> std::optional<Problem> {
    if (show) entries.setShowInMenuBar(*show);
    if (atLogin) entries.setShowInMenuBarAtLogin(*atLogin);
    return std::nullopt;
  });
  if (!problem) entries.synchronizeHelper();
  return problem;
}

void setHelperRuns(bool run) { QVRamDiskUtils::setHelperIsRunning(run); }

std::optional<Problem> setSaveAtSessionEnd(Registry& registry, bool save) {
  return registry.change([&]() -> std::optional<Problem> {
    registry.entries().setSaveAtSessionEnd(save);
    return std::nullopt;
  });
}

std::int64_t iconStyle() { return QVRamDiskPreferences::styleOfMainApplication(); }

void setIconStyle(std::int64_t style) {
  auto& preferences = QVRamDiskPreferences::sharedInstance();
  preferences.setStatusItemIconStyle(style);
  preferences.saveToUserDefaults();
  platform::services().notifications->post(
      {QVRamDiskPreferencesStatusItemIconStyleDidChangeNotification,
       kSenderApp,
       {{kStatusItemIconStyleKey, std::to_string(style)}}});
}

}  // namespace settings
