#include "ramdisk/QVRamDiskBackup.h"

#include <sys/stat.h>

#include <cerrno>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/Generation.h"
#include "system/DiskPlaces.h"
#include "system/QVFinderTools.h"

namespace {

using extensions::appendingPathComponent;
using platform::Outcome;
using platform::services;

QVErrorPtr failure(std::string_view message, const char* reason, QVErrorCause cause = {},
                   QVErrorCode code = QVErrorCode::None) {
  return QVError::errorWithMessage(QVLocalized(message), reason, std::move(cause), code);
}

std::vector<std::string> itemsOf(std::vector<std::string> names) {
  std::erase_if(names, QVRamDiskBackup::leavesAlone);
  return names;
}

// What the generation could not be given it has in the one before.
void fillGaps(const Generation& generation, const std::string& volume) {
  struct stat facts {};
  for (const auto& gap : gapNote(generation.folder()).paths) {
    const std::string target = appendingPathComponent(volume, gap);
    const std::string source = appendingPathComponent(generation.previous(), gap);
    if (lstat(target.c_str(), &facts) != 0 && lstat(source.c_str(), &facts) == 0)
      copyItemAtPath(source, target);
  }
}

// Of the folder's own items; what the volume had already is not lacking, and what no volume can
// hold is.
void addLacking(const CopyOutcome& outcome, QVRamDiskBackup::Lacking& lacking) {
  for (const std::string& path : outcome.failedPaths) {
    const auto item = outcome.failedItems.find(path);
    if (item == outcome.failedItems.end() || item->second.code != EEXIST)
      lacking.paths.push_back(path);
  }
  lacking.paths.insert(lacking.paths.end(), outcome.skippedPaths.begin(),
                       outcome.skippedPaths.end());
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
  if (const auto done = copyDirectoryAttributes(from, to, disk_places::kOwnAttributePrefix); !done)
    QVLogWarning("QVRamDiskBackup", "the attributes of {} were not all passed on: {}", from,
                 QVDescription(done.error()));
}

QVErrorPtr QVRamDiskBackup::backupRamDiskAtPath(const Text& path, const Text& backupPath,
                                                const std::string& previousExt,
                                                const Progress& progress, SaveCare care) const {
  if (!path || !backupPath) return failure("Can not create backup", "path==nil || backupPath==nil");
  return saveVolume({.volume = *path,
                     .generation = Generation(*backupPath, previousExt),
                     .care = care,
                     .progress = progress})
      .error;
}

QVErrorPtr QVRamDiskBackup::restoreRamDiskAtPath(const Text& path, const Text& backupDirPath,
                                                 const Progress& progress, Lacking* lacking) const {
  if (!path || !backupDirPath)
    return failure("Can not restore backup", "path==nil || backupDirPath==nil");
  const Generation generation(*backupDirPath);
  const auto folder = generation.whole();
  if (!folder) return nullptr;
  CopyOptions options;
  options.progress = progress;
  const auto names = services().files->names(*folder);
  const auto items = itemsOf(names.value().value_or(std::vector<std::string>()));
  const auto outcome = copyItems(items, *folder, *path, options);
  for (const auto& [name, error] : outcome.failedItems)
    QVLogError("QVRamDiskBackup", "copyItemAtPath==NO path:{} backupDirPath:{} error:{}", *path,
               *folder, QVDescription(error));
  if (*folder == generation.folder() && generation.hasPrevious()) fillGaps(generation, *path);
  if (lacking) addLacking(outcome, *lacking);
  takeOnAttributes(*folder, *path);
  return nullptr;
}
