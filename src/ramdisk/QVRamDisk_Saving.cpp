#include <cerrno>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/Generation.h"
#include "ramdisk/QVRamDisk.h"
#include "ramdisk/Users.h"
#include "system/DiskPlaces.h"
#include "system/Errno.h"
#include "system/TreeRemover.h"

// What an action does to a volume's contents: saving them where they are kept, and deleting them.
// Both look at once more, under the lock, whose volume it is: see checkVolume(). How a save keeps
// the generation there is stands in QVRamDiskBackup.cpp.

namespace {

using platform::Outcome;
using platform::services;

Outcome removeIfThere(const std::string& path) {
  if (!services().files->exists(path)) return {};
  return removeItemAtPath(path);
}

// A record that is aimed at one of these is damaged, which the user is to know.
void reportDangerousPath(const std::string& path) {
  if (path.empty()) {
    QVLogCriticalException("QVRamDisk", "dirPath==nil");
  } else if (path == "/" || path == services().places->volumesDirectory() ||
             path == services().places->home()) {
    QVLogCriticalException("QVRamDisk", "dirPath:{}", path);
  }
}

void removeAll(std::vector<std::string> names, Descriptor volume, const std::string& folder) {
  std::erase_if(names, QVRamDiskBackup::leavesAlone);
  const auto outcome = removeItems(names, std::move(volume), folder);
  for (const auto& [name, error] : outcome.failedItems)
    QVLogError("QVRamDisk", "removeItemAtPath==NO filePath:{} error:{}",
               extensions::appendingPathComponent(folder, name), QVDescription(error));
}

}  // namespace

void QVRamDisk::deleteBackupDirs() {
  const Text support = QVRamDiskManager::appSupportPath();
  if (!support || !identifier_) return;
  const Generation generation(disk_places::backupFolder(*support, *identifier_));
  if (const auto done = removeIfThere(generation.folder()); !done)
    QVLogError("QVRamDisk", "removeItemAtPath==NO bckPath:{} error:{}", generation.folder(),
               QVDescription(done.error()));
  if (const auto done = removeIfThere(generation.previous()); !done)
    QVLogError("QVRamDisk", "removeItemAtPath==NO prevBckPath:{} error:{}", generation.previous(),
               QVDescription(done.error()));
  generation.unmark();
}

QVErrorPtr QVRamDisk::backup(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  const Text folder = backupDirPath();
  return folder ? saveInto(folder, delegate, SaveCare::TrustTimes, true, lock) : nullptr;
}

QVErrorPtr QVRamDisk::syncWithBase(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  const Text base = placeOfVolume() == mountPath() ? savedBasePath() : folderOfSaves();
  QVErrorPtr error = saveInto(base, delegate, SaveCare::TrustTimes, true, lock);
  if (error)
    QVLogError("QVRamDisk", "backupRamDiskAtPath basePath:{} error:{}", QVText(base),
               QVDescription(error));
  return error;
}

QVErrorPtr QVRamDisk::saveInto(const Text& folder, const QVRamDiskDelegatePtr& delegate,
                               SaveCare care, bool waitsForCalm, const ActionLock&) {
  if (auto error = checkVolume()) return error;
  return saveFrom(path(), folder, delegate, care, waitsForCalm);
}

QVErrorPtr QVRamDisk::saveFrom(const Text& volume, const Text& folder,
                               const QVRamDiskDelegatePtr& delegate, SaveCare care,
                               bool waitsForCalm) {
  if (!volume || !folder)
    return QVRamDiskBackup::sharedInstance().backupRamDiskAtPath(
        volume, folder, std::string(disk_places::kPreviousExtension));
  lastSave_ = saveVolume({.volume = *volume,
                          .generation = Generation(*folder),
                          .care = care,
                          .waitsForCalm = waitsForCalm,
                          .progress = progressFor(delegate, observed().usedBytes())});
  for (const auto& kept : lastSave_.kept)
    tell(QVLocalizedFormat("Files of yours that were not on %@ are kept in %@",
                           {displayName().value_or(""), kept}));
  return errorOf(lastSave_);
}

// A save that is not whole has kept the generation before it.
QVErrorPtr QVRamDisk::errorOf(const SaveOutcome& outcome) const {
  if (outcome.error) return outcome.error;
  const std::string name = displayName().value_or("");
  if (!outcome.isWhole())
    return QVError::errorWithMessage(
        QVLocalizedFormat("Not everything of %@ could be saved: %@",
                          {name, someOf(outcome.missing, outcome.moreMissing)}),
        "missing", platform::SystemError{"POSIX", 0, outcome.firstReason},
        QVErrorCode::NotAllSaved);
  if (outcome.calm) return nullptr;
  return QVError::errorWithMessage(
      QVLocalizedFormat("Files of %@ were moved while they were saved, so the save before is kept "
                        "too. Save again when it is calm.",
                        {name}),
      "calm", QVErrorCode::NotAllSaved);
}

// What is kept beside the volume goes with the directory above, whatever that is called now.
QVRamDisk::Text QVRamDisk::folderOfSaves() const {
  const auto known = settings();
  const Text place = placeOfVolume();
  if (!known.isKeptInBase() || !place || *place == known.mountPath())
    return known.folderOfSaves(identifier_);
  const std::string beside = disk_places::savedBase(extensions::deletingLastPathComponent(*place),
                                                    extensions::lastPathComponent(*place));
  if (!services().files->exists(beside)) return std::nullopt;
  return beside;
}

QVRamDisk::Text QVRamDisk::placeOfVolume() const {
  const auto seen = observed();
  return seen.path ? seen.path : Text(mountPath());
}

// The last save of a volume, as it is ejected.
QVErrorPtr QVRamDisk::saveContents(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  const auto known = settings();
  const bool usesBase = known.isKeptInBase();
  const Text folder = folderOfSaves();
  setAction(usesBase ? QVRamDiskActionSyncWithBase : QVRamDiskActionBackup);
  inform(delegate, usesBase ? QVRamDiskActionInfo_copyingToBase : QVRamDiskActionInfo_backuping,
         nullptr);
  QVErrorPtr error = saveInto(folder, delegate, SaveCare::Compare, false, lock);
  if (error && usesBase)
    QVLogError("QVRamDisk", "backupRamDiskAtPath path:{} result:{}", QVText(folder),
               QVDescription(error));
  return error;
}

QVErrorPtr QVRamDisk::cleanUpFiles(const QVRamDiskDelegatePtr&, const ActionLock&) {
  const std::string folder = path().value_or("");
  reportDangerousPath(folder);
  if (auto error = checkVolume()) return error;
  auto volume = openVolume();
  const auto names = services().files->names(folder);
  if (!names) {
    QVLogError("QVRamDisk", "contents==nil error:{}", QVDescription(names.error()));
    return QVError::errorWithMessage(QVLocalized("Can not delete the files"), "contents==nil",
                                     names.error());
  }
  if (!volume) return checkVolume();
  removeAll(*names, std::move(volume), folder);
  // What could not be brought in is deleted with the rest.
  if (!isRefillUnderWay(folder)) noteRefillEnded(folder, {}, false);
  return nullptr;
}

platform::Outcome QVRamDisk::removeFolder(const std::string& path) {
  const std::string root = this->path().value_or("");
  const auto volume = openVolume();
  if (!volume) return errnoError(errno, path);
  if (!path.starts_with(root + "/")) return errnoError(EXDEV, path);
  return removeItemBelow(volume, root, path.substr(root.size() + 1));
}
