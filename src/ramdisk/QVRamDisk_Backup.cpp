#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/Generation.h"
#include "ramdisk/ProgressReport.h"
#include "ramdisk/QVRamDisk.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "system/TreeRemover.h"

namespace {

using extensions::appendingPathComponent;
using extensions::appendingPathExtension;
using platform::FileKind;
using platform::services;
using Text = std::optional<std::string>;

constexpr char kBackupExtension[] = "TarnvaleBackup";
constexpr char kSavedBaseSuffix[] = " (Tarnvale Backup Base)";

Text backupFolderIn(const Text& parent, const Text& identifier) {
  if (!parent || !identifier) return std::nullopt;
  return appendingPathComponent(*parent, appendingPathExtension(*identifier, kBackupExtension));
}

// Removes the item if it is there; the failure otherwise.
platform::Outcome removeIfThere(const std::string& path) {
  if (!services().files->exists(path)) return {};
  return removeItemAtPath(path);
}

}  // namespace

Text QVRamDisk::backupDirPath() const {
  switch (backupMode()) {
    case QVRamDiskBackupMode_AppSupport:
      return backupFolderIn(QVRamDiskManager::appSupportPath(), identifier_);
    case QVRamDiskBackupMode_Directory:
      return backupFolderIn(backupDir(), identifier_);
    default:
      return std::nullopt;
  }
}

Text QVRamDisk::savedBasePath() const {
  const Text directory = mountDirectory();
  const Text name = this->name();
  if (!directory || !name) return std::nullopt;
  return appendingPathComponent(*directory, *name + kSavedBaseSuffix);
}

void QVRamDisk::deleteBackupDirs() {
  const Text backup = backupFolderIn(QVRamDiskManager::appSupportPath(), identifier_);
  if (!backup) return;
  if (const auto done = removeIfThere(*backup); !done)
    QVLogError("QVRamDisk", "removeItemAtPath==NO bckPath:{} error:{}", *backup,
               QVDescription(done.error()));
  const Generation generation(*backup);
  if (const auto done = removeIfThere(generation.previous()); !done)
    QVLogError("QVRamDisk", "removeItemAtPath==NO prevBckPath:{} error:{}", generation.previous(),
               QVDescription(done.error()));
  generation.unmark();
}

void QVRamDisk::performBackup(const QVRamDiskDelegatePtr& delegate) {
  setAction(QVRamDiskActionBackup);
  inform(delegate, QVRamDiskActionInfo_backuping, nullptr);
  QVErrorPtr error;
  if (const Text folder = backupDirPath()) error = saveInto(folder, delegate, SaveCare::TrustTimes);
  setAction(QVRamDiskActionNone);
  inform(delegate, QVRamDiskActionInfo_backuping, error);
}

void QVRamDisk::performSyncWithBase(const QVRamDiskDelegatePtr& delegate) {
  setAction(QVRamDiskActionSyncWithBase);
  inform(delegate, QVRamDiskActionInfo_copyingToBase, nullptr);
  const Text base = savedBasePath();
  const QVErrorPtr error = saveInto(base, delegate, SaveCare::TrustTimes);
  if (error)
    QVLogError("QVRamDisk", "backupRamDiskAtPath basePath:{} error:{}", QVText(base),
               QVDescription(error));
  setAction(QVRamDiskActionNone);
  inform(delegate, QVRamDiskActionInfo_copyingToBase, error);
}

bool QVRamDisk::isSavedIntoBase() const {
  return type() == QVRamDiskType_CoreSimulator ||
         (mountDirectory() && backupMode() == QVRamDiskBackupMode_Base);
}

bool QVRamDisk::savesContents() const { return isSavedIntoBase() || backupDirPath(); }

QVErrorPtr QVRamDisk::saveInto(const Text& folder, const QVRamDiskDelegatePtr& delegate,
                               SaveCare care) {
  if (auto error = checkVolume()) return error;
  return QVRamDiskBackup::sharedInstance().backupRamDiskAtPath(
      path(), folder, std::string(kPreviousExtension),
      progressReport(shared_from_this(), delegate, usedBytes(*this)), care);
}

// Ejecting saves into the same folders, so it stands beside the backups.
QVErrorPtr QVRamDisk::saveContents(const QVRamDiskDelegatePtr& delegate) {
  const bool usesBase = isSavedIntoBase();
  const Text folder = usesBase ? savedBasePath() : backupDirPath();
  setAction(usesBase ? QVRamDiskActionSyncWithBase : QVRamDiskActionBackup);
  inform(delegate, usesBase ? QVRamDiskActionInfo_copyingToBase : QVRamDiskActionInfo_backuping,
         nullptr);
  QVErrorPtr error = saveInto(folder, delegate, SaveCare::Compare);
  if (error && usesBase)
    QVLogError("QVRamDisk", "backupRamDiskAtPath path:{} result:{}", QVText(folder),
               QVDescription(error));
  return error;
}
