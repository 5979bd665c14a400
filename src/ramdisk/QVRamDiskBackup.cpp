#include "ramdisk/QVRamDiskBackup.h"

#include <cerrno>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/Generation.h"
#include "ramdisk/SaveRun.h"
#include "system/QVFinderTools.h"

namespace {

using platform::services;

QVErrorPtr failure(std::string_view message, const char* reason) {
  return QVError::errorWithMessage(QVLocalized(message), reason);
}

std::vector<std::string> itemsIn(const std::string& folder) {
  std::vector<std::string> items;
  const auto names = services().files->names(folder);
  if (!names) return items;
  for (const std::string& name : *names)
    if (!QVRamDiskBackup::leavesAlone(name)) items.push_back(name);
  return items;
}

// Of the folder's own items; what the volume had already is not lacking.
void addLacking(const CopyOutcome& outcome, QVRamDiskBackup::Lacking& lacking) {
  for (const std::string& path : outcome.failedPaths) {
    const auto item = outcome.failedItems.find(path);
    if (item == outcome.failedItems.end() || item->second.code != EEXIST)
      lacking.paths.push_back(path);
  }
  lacking.unlisted = lacking.unlisted || outcome.failedPathsCut;
}

}  // namespace

QVRamDiskBackup& QVRamDiskBackup::sharedInstance() {
  static QVRamDiskBackup instance;
  return instance;
}

bool QVRamDiskBackup::leavesAlone(const std::string& name) {
  return QVFinderTools::isVolumeHiddenFilename(name) ||
         QVFinderTools::isSystemFileNameInFolder(name, 1);
}

void QVRamDiskBackup::takeOnAttributes(const std::string& from, const std::string& to) {
  if (const auto done = copyDirectoryAttributes(from, to, kOwnAttributePrefix); !done)
    QVLogWarning("QVRamDiskBackup", "the attributes of {} were not all passed on: {}", from,
                 QVDescription(done.error()));
}

QVErrorPtr QVRamDiskBackup::backupRamDiskAtPath(const Text& path, const Text& backupPath,
                                                const std::string& previousExt,
                                                const Progress& progress, SaveCare care) const {
  if (!path || !backupPath) return failure("Can not create backup", "path==nil || backupPath==nil");
  return SaveRun(*path, Generation(*backupPath, previousExt), progress, care).run();
}

QVErrorPtr QVRamDiskBackup::restoreRamDiskAtPath(const Text& path, const Text& backupDirPath,
                                                 const Progress& progress, Lacking* lacking) const {
  if (!path || !backupDirPath)
    return failure("Can not restore backup", "path==nil || backupDirPath==nil");
  const auto folder = Generation(*backupDirPath).whole();
  if (!folder) return nullptr;
  CopyOptions options;
  options.progress = progress;
  const auto outcome = copyItems(itemsIn(*folder), *folder, *path, options);
  for (const auto& [name, error] : outcome.failedItems)
    QVLogError("QVRamDiskBackup", "copyItemAtPath==NO path:{} backupDirPath:{} error:{}", *path,
               *folder, QVDescription(error));
  if (lacking) addLacking(outcome, *lacking);
  takeOnAttributes(*folder, *path);
  return nullptr;
}
