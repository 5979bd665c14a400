#include "settings/Edits.h"

#include <algorithm>
#include <functional>
#include <string>

#include "platform/Services.h"
#include "ramdisk/QVRamDiskPreferences.h"
#include "settings/DiskState.h"
#include "settings/Draft.h"
#include "settings/Validation.h"
#include "system/QVRamDiskUtils.h"

namespace settings {
namespace {

bool hasPlace(const std::vector<QVRamDiskPtr>& disks, const QVRamDisk& own) {
  return std::any_of(disks.begin(), disks.end(), [&](const auto& disk) {
    return disk.get() != &own && disk->mountPath() == own.mountPath();
  });
}

// "RamDisk", "RamDisk 2" and so on.
void giveFreeName(QVRamDisk& disk, const std::vector<QVRamDiskPtr>& disks) {
  const std::string first = disk.name().value_or("");
  for (int number = 2; hasPlace(disks, disk); ++number)
    disk.setName(first + " " + std::to_string(number));
}

// Changes one disk of the registry; `edit` is given it as it is at that moment.
Outcome changeOne(Registry& registry, const Identifier& identifier,
                  const std::function<Outcome(const QVRamDiskPtr&)>& edit) {
  return registry.change([&]() -> Outcome {
    const auto disk = registry.entries().ramDiskWithIdentifier(identifier);
    return disk ? edit(disk) : Outcome(Problem{.trouble = Trouble::Gone});
  });
}

Outcome takeOut(Registry& registry, const QVRamDiskPtr& disk, Identifier& next) {
  DiskState state(registry.disks());
  if (auto may = checkRemoving(*disk, state); !may) return may;
  const auto selected = registry.entries().takeOut(disk);
  next = selected ? selected->identifier() : std::nullopt;
  return {};
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

Outcome addDisk(Registry& registry, Identifier& added) {
  return registry.change([&]() -> Outcome {
    const auto disk = registry.entries().addRamDisk();
    if (!disk) return Problem{.trouble = Trouble::Full};
    giveFreeName(*disk, registry.disks());
    added = disk->identifier();
    return {};
  });
}

Outcome changeDisk(Registry& registry, const Identifier& identifier, const Change& wanted) {
  auto done = changeOne(registry, identifier,
                        [&](const auto& disk) { return change(*disk, wanted, registry.disks()); });
  if (done && wanted.atLogin) registry.entries().synchronizeHelper();
  return done;
}

Outcome removeDisk(Registry& registry, const Identifier& identifier, Identifier& next) {
  QVRamDiskPtr removed;
  auto done = changeOne(registry, identifier, [&](const auto& disk) {
    removed = disk;
    return takeOut(registry, disk, next);
  });
  if (!done) return done;
  removed->deleteBackupDirs();
  registry.entries().synchronizeHelper();
  return done;
}

Outcome moveDisk(Registry& registry, const Identifier& identifier, std::int64_t index) {
  const Gap gap(registry.disks(), index);
  return changeOne(registry, identifier, [&](const auto& disk) -> Outcome {
    registry.entries().setPositionIndex(gap.in(registry.entries()), disk);
    return {};
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

Outcome setMenuBar(Registry& registry, std::optional<bool> show, std::optional<bool> atLogin) {
  auto& entries = registry.entries();
  auto done = registry.change([&]() -> Outcome {
    if (show) entries.setShowInMenuBar(*show);
    if (atLogin) entries.setShowInMenuBarAtLogin(*atLogin);
    return {};
  });
  if (done) entries.synchronizeHelper();
  return done;
}

void setHelperRuns(bool run) { QVRamDiskUtils::setHelperIsRunning(run); }

Outcome setSaveAtSessionEnd(Registry& registry, bool save) {
  return registry.change([&]() -> Outcome {
    registry.entries().setSaveAtSessionEnd(save);
    return {};
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
