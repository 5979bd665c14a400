#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDisk.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "ramdisk/VolumeNotes.h"
#include "system/TreeRemover.h"

namespace {

using extensions::appendingPathComponent;
using platform::services;

// A record that is aimed at one of these is damaged, which the user is to know.
void reportDangerousPath(const std::string& path) {
  if (path.empty()) {
    QVLogCriticalException("QVRamDisk", "dirPath==nil");
  } else if (path == "/" || path == services().places->volumesDirectory() ||
             path == services().places->home()) {
    QVLogCriticalException("QVRamDisk", "dirPath:{}", path);
  }
}

void removeAll(std::vector<std::string> names, const std::string& folder) {
  std::erase_if(names, QVRamDiskBackup::leavesAlone);
  for (const auto& [name, error] : removeItems(names, folder).failedItems)
    QVLogError("QVRamDisk", "removeItemAtPath==NO filePath:{} error:{}",
               appendingPathComponent(folder, name), QVDescription(error));
}

}  // namespace

void QVRamDisk::performCleanUpFiles() { cleanUpFiles(); }

void QVRamDisk::startCleanUp(const QVRamDiskDelegatePtr& delegate) {
  reportRunningAction();
  startOnThread(QVRamDiskActionCleanUpFiles, &QVRamDisk::performReportedCleanUp, delegate);
}

void QVRamDisk::performReportedCleanUp(const QVRamDiskDelegatePtr& delegate) {
  setAction(QVRamDiskActionCleanUpFiles);
  inform(delegate, QVRamDiskActionInfo_none, nullptr);
  const auto error = cleanUpFiles();
  setAction(QVRamDiskActionNone);
  inform(delegate, QVRamDiskActionInfo_none, error);
}

// Where it is done there is nothing to report, so only what was refused is.
void QVRamDisk::performCleanUp(const QVRamDiskDelegatePtr& delegate) {
  if (const auto error = cleanUpFiles()) inform(delegate, QVRamDiskActionInfo_none, error);
}

QVErrorPtr QVRamDisk::cleanUpFiles() {
  const std::string folder = path().value_or("");
  reportDangerousPath(folder);
  if (auto error = checkVolume()) return error;
  const auto names = services().files->names(folder);
  if (!names) {
    QVLogError("QVRamDisk", "contents==nil error:{}", QVDescription(names.error()));
    return QVError::errorWithMessage(QVLocalized("Can not delete the files"), "contents==nil",
                                     names.error());
  }
  removeAll(*names, folder);
  // What could not be brought in is deleted with the rest.
  if (!isRefillUnderWay(folder)) noteRefillEnded(folder, {}, false);
  return nullptr;
}
