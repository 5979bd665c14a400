#include "ramdisk/QVRamDiskBackup.h"

#include <cerrno>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/ExtendedAttributes.h"
#include "system/QVFinderTools.h"

namespace {

using extensions::appendingPathComponent;
using platform::FileKind;
using platform::services;

constexpr std::string_view kClass = "QVRamDiskBackup";
constexpr char kNoBackup[] = "Can not create backup";

QVErrorPtr failure(std::string_view message, const char* reason, QVErrorCause cause = {}) {
  return QVError::errorWithMessage(QVLocalized(message), reason, std::move(cause));
}

bool exists(const std::string& path) { return services().files->kind(path) != FileKind::Missing; }

// A save that will not fit fails before anything is touched. What cannot be told is let through.
QVErrorPtr checkRoom(const std::string& volume, const std::string& backup) {
  const auto source = services().volumes->attributes(volume);
  const auto target =
      services().volumes->attributes(extensions::deletingLastPathComponent(backup));
  if (!source || !target || source->size - source->free <= target->free) return nullptr;
  return failure(kNoBackup, "volFree",
                 platform::SystemError{"POSIX", ENOSPC,
                                       fmt::format("{}: {} bytes are needed and {} are free", backup,
                                                   source->size - source->free, target->free)});
}

QVErrorPtr setAside(const std::string& backup, const std::string& previous) {
  if (exists(previous))
    if (const auto error = services().files->remove(previous))
      return failure(kNoBackup, "removeItemAtPath:", *error);
  if (exists(backup))
    if (const auto error = services().files->move(backup, previous))
      return failure(kNoBackup, "moveItemAtPath:", *error);
  return nullptr;
}

// Copies one item after the other and adds their progress up.
class ItemCopies {
 public:
  ItemCopies(std::string from, std::string to, const QVRamDiskBackup::Progress& progress)
      : from_(std::move(from)), to_(std::move(to)), progress_(progress) {}

  // nullopt when the item arrived whole.
  platform::Failure copy(const std::string& name) {
    CopyOptions options;
    if (progress_)
      options.progress = [this](const CopyProgress& item) {
        progress_({done_.bytes + item.bytes, done_.entries + item.entries});
      };
    const auto outcome = copyItemAtPath(source(name), destination(name), options);
    done_.bytes += outcome.copied.bytes;
    done_.entries += outcome.copied.entries;
    if (outcome.complete()) return std::nullopt;
    return outcome.firstError.value_or(platform::SystemError{"POSIX", 0, source(name)});
  }

  std::string source(const std::string& name) const { return appendingPathComponent(from_, name); }
  std::string destination(const std::string& name) const {
    return appendingPathComponent(to_, name);
  }

 private:
  std::string from_;
  std::string to_;
  const QVRamDiskBackup::Progress& progress_;
  CopyProgress done_;
};

// false when an item did not arrive whole.
bool copyIntoBackup(const std::vector<std::string>& names, const std::string& path,
                    const std::string& backup, const QVRamDiskBackup::Progress& progress) {
  ItemCopies copies(path, backup, progress);
  bool complete = true;
  for (const std::string& name : names) {
    if (QVRamDiskBackup::leavesAlone(name)) continue;
    const auto error = copies.copy(name);
    if (!error) continue;
    QVLogError(kClass, "copyItemAtPath==NO filePath:{} fileBckPath:{} error:{}",
               copies.source(name), copies.destination(name), QVDescription(*error));
    complete = false;
  }
  return complete;
}

// A folder stands for the volume, and the volume for a folder: what is private stays private. The
// volume's own record is no part of that.
void takeOnAttributes(const std::string& from, const std::string& to) {
  if (const auto error = copyDirectoryAttributes(from, to))
    QVLogWarning(kClass, "the attributes of {} were not all passed on: {}", from,
                 QVDescription(*error));
}

void takeOnVolumeAttributes(const std::string& volume, const std::string& folder) {
  takeOnAttributes(volume, folder);
  QVSetExtendedAttribute(std::nullopt, kRamDiskInfoAttributeName, folder);
}

void dropPrevious(const std::string& previous) {
  if (!exists(previous)) return;
  if (const auto error = services().files->remove(previous))
    QVLogError(kClass, "removeItemAtPath==NO backupPathOld:{} error:{}", previous,
               QVDescription(*error));
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

QVErrorPtr QVRamDiskBackup::backupRamDiskAtPath(const Text& path, const Text& backupPath,
                                                const std::string& previousExt,
                                                const Progress& progress) const {
  if (!path || !backupPath) return failure(kNoBackup, "path==nil || backupPath==nil");
  if (auto error = checkRoom(*path, *backupPath)) return error;
  const std::string previous = extensions::appendingPathExtension(*backupPath, previousExt);
  if (auto error = setAside(*backupPath, previous)) return error;
  if (const auto error = services().files->createDirectories(*backupPath))
    return failure(kNoBackup, "createDirectoryAtPath:", *error);
  takeOnVolumeAttributes(*path, *backupPath);
  const auto names = services().files->names(*path);
  if (!names) return failure(kNoBackup, "contentsOfDirectoryAtPath:", names.error());
  const bool complete = copyIntoBackup(*names, *path, *backupPath, progress);
  takeOnVolumeAttributes(*path, *backupPath);  // the copies changed the folder's time
  if (complete) dropPrevious(previous);
  return nullptr;
}

QVErrorPtr QVRamDiskBackup::restoreRamDiskAtPath(const Text& path, const Text& backupDirPath,
                                                 const Progress& progress) const {
  if (!path || !backupDirPath)
    return failure("Can not restore backup", "path==nil || backupDirPath==nil");
  const auto names = services().files->names(*backupDirPath);
  if (!names) return nullptr;
  ItemCopies copies(*backupDirPath, *path, progress);
  for (const std::string& name : *names) {
    if (leavesAlone(name)) continue;
    if (const auto error = copies.copy(name))
      QVLogError(kClass, "copyItemAtPath==NO path:{} backupDirPath:{} error:{}", *path,
                 *backupDirPath, QVDescription(*error));
  }
  takeOnAttributes(*backupDirPath, *path);
  return nullptr;
}
