#include <cerrno>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/Generation.h"
#include "ramdisk/QVRamDisk.h"
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
  return folder ? saveInto(folder, delegate, SaveCare::TrustTimes, lock) : nullptr;
}

QVErrorPtr QVRamDisk::syncWithBase(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  const Text base = savedBasePath();
  QVErrorPtr error = saveInto(base, delegate, SaveCare::TrustTimes, lock);
  if (error)
    QVLogError("QVRamDisk", "backupRamDiskAtPath basePath:{} error:{}", QVText(base),
               QVDescription(error));
  return error;
}

QVErrorPtr QVRamDisk::saveInto(const Text& folder, const QVRamDiskDelegatePtr& delegate,
                               SaveCare care, const ActionLock&) {
  if (auto error = checkVolume()) return error;
  const auto seen = observed();
  return QVRamDiskBackup::sharedInstance().backupRamDiskAtPath(
      seen.path, folder, std::string(disk_places::kPreviousExtension),
      progressFor(delegate, seen.usedBytes()), care);
}

// The last save of a volume, as it is ejected.
QVErrorPtr QVRamDisk::saveContents(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  const auto known = settings();
  const bool usesBase = known.isKeptInBase();
  const Text folder = known.folderOfSaves(identifier_);
  setAction(usesBase ? QVRamDiskActionSyncWithBase : QVRamDiskActionBackup);
  inform(delegate, usesBase ? QVRamDiskActionInfo_copyingToBase : QVRamDiskActionInfo_backuping,
         nullptr);
  QVErrorPtr error = saveInto(folder, delegate, SaveCare::Compare, lock);
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
