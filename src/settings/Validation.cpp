#include "settings/Validation.h"

#include <algorithm>
#include <utility>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/ActionLock.h"
#include "settings/TypedText.h"

namespace settings {
namespace {

using platform::FileKind;
using platform::services;
using Message = QVRamDiskManager::Message;
using Found = std::optional<Problem>;

Problem refused(Field field, const Message& message, const Message& where = {}) {
  return {.reason = Reason::Validation,
          .field = field,
          .subject = where.value_or(""),
          .text = QVText(message)};
}

// The checks of the engine come as one, the name's before the size's. Without a size what is said
// of anything else is said of the name; a name that passes leaves the size's. The plain kind has no
// application that could be running.
Found problemOfName(const QVRamDisk& disk) {
  Message message;
  QVRamDiskManager::canCreateWithName(disk.name(), 0, QVRamDiskType_Default, std::nullopt, message);
  if (message == QVLocalized("Please, specify a correct size of RamDisk", "QVRamDiskLocalizable"))
    return std::nullopt;
  return refused(Field::Name, message);
}

Found problemOfSize(const QVRamDisk& disk) {
  Message message;
  if (QVRamDiskManager::canCreateWithName("RamDisk", disk.size(), QVRamDiskType_Default,
                                          std::nullopt, message))
    return std::nullopt;
  return refused(Field::Size, message);
}

Found problemOfDirectory(const QVRamDisk& disk) {
  Message message;
  if (!disk.mountDirectory() || QVRamDiskManager::canUseMountDirectory(
                                    disk.mountDirectory(), disk.name(), disk.type(), message))
    return std::nullopt;
  return refused(Field::Directory, message, disk.mountDirectory());
}

Found problemOfSharing(const QVRamDisk& disk, const Disks& all) {
  const std::string place = resolvedPath(mountPathOf(disk));
  const auto other = std::find_if(all.begin(), all.end(), [&](const auto& candidate) {
    return candidate.get() != &disk && candidate->identifier() != disk.identifier() &&
           resolvedPath(mountPathOf(*candidate)) == place;
  });
  if (other == all.end()) return std::nullopt;
  return Problem{.reason = Reason::SharedPlace,
                 .field = disk.mountDirectory() ? Field::Directory : Field::Name,
                 .subject = (*other)->name().value_or(""),
                 .path = place};
}

Problem atBackupDirectory(Reason reason, const std::string& path = {}) {
  return {.reason = reason, .field = Field::BackupDirectory, .path = path};
}

Found problemOfBackupDirectory(const QVRamDisk& disk) {
  const auto path = disk.backupDir();
  if (!path) return atBackupDirectory(Reason::NoBackupDirectory);
  if (services().files->kind(*path) != FileKind::Directory)
    return atBackupDirectory(Reason::BackupDirectoryMissing, *path);
  if (!services().files->isWritable(*path))
    return atBackupDirectory(Reason::BackupDirectoryReadOnly, *path);
  if (isWithin(resolvedPath(*path), resolvedPath(mountPathOf(disk))))
    return atBackupDirectory(Reason::BackupDirectoryOnDisk, *path);
  return std::nullopt;
}

bool entersOrLeavesBase(const QVRamDisk& disk, const Change& change) {
  if (!change.changesBackup()) return false;
  const bool enters = change.backup == QVRamDiskBackupMode_Base;
  return enters != (disk.backupMode() == QVRamDiskBackupMode_Base);
}

// A disk that another program is creating has no device yet that the list would know of.
Found problemOfUse(const QVRamDisk& disk, DiskState& state) {
  const std::string name = disk.name().value_or("");
  if (state.status(disk) != QVRamDiskStatus_notCreated)
    return Problem{.reason = Reason::Created, .subject = name};
  if (!ActionLock::isTaken(disk.identifier())) return std::nullopt;
  return Problem{.reason = Reason::Acting, .subject = name};
}

void add(std::vector<Problem>& problems, Found found) {
  if (found) problems.push_back(std::move(*found));
}

}  // namespace

Found problemOfPlace(const QVRamDisk& disk, const Disks& all) {
  for (const auto check : {problemOfName, problemOfSize, problemOfDirectory})
    if (auto problem = check(disk)) return problem;
  return problemOfSharing(disk, all);
}

Found problemOfBackup(const QVRamDisk& disk) {
  switch (disk.backupMode()) {
    case QVRamDiskBackupMode_Base:
      if (disk.mountDirectory()) return std::nullopt;
      return Problem{.reason = Reason::NoBase, .field = Field::Backup};
    case QVRamDiskBackupMode_Directory:
      return problemOfBackupDirectory(disk);
    default:
      return std::nullopt;
  }
}

Found problemOfCreation(const QVRamDisk& disk) {
  Message message;
  if (QVRamDiskManager::canCreateWithName(disk.name(), disk.size(), disk.type(),
                                          disk.mountDirectory(), message))
    return std::nullopt;
  return refused(Field::Disk, message, disk.name());
}

std::vector<Problem> problemsOfDraft(const QVRamDisk& draft, const Change& change,
                                     const Disks& all) {
  std::vector<Problem> problems;
  if (change.changesVolume()) {
    add(problems, problemOfName(draft));
    add(problems, problemOfSize(draft));
    const auto directory = problemOfDirectory(draft);
    add(problems, directory);
    if (problems.empty()) add(problems, problemOfSharing(draft, all));
  }
  if (change.changesBackup() || change.changesPlace()) add(problems, problemOfBackup(draft));
  Change unplaced = change;  // that a preset has its own place is no problem of a form
  unplaced.name = unplaced.directory = std::nullopt;
  add(problems, problemOfApplying(draft, unplaced));
  return problems;
}

Found problemOfBaseAside(const QVRamDisk& disk) {
  const auto aside = disk.savedBasePath();
  if (!aside || services().files->kind(*aside) == FileKind::Missing) return std::nullopt;
  return Problem{.reason = Reason::BaseAside, .subject = disk.name().value_or(""), .path = *aside};
}

Found problemOfChanging(const QVRamDisk& disk, const Change& change, DiskState& state) {
  const bool movesBase = entersOrLeavesBase(disk, change);
  if (change.changesVolume() || movesBase)
    if (auto problem = problemOfUse(disk, state)) return problem;
  return change.changesPlace() || movesBase ? problemOfBaseAside(disk) : std::nullopt;
}

Found problemOfRemoving(const QVRamDisk& disk, DiskState& state) {
  auto problem = problemOfUse(disk, state);
  return problem ? problem : problemOfBaseAside(disk);
}

Found change(QVRamDisk& disk, const Change& change, const Disks& all) {
  DiskState state(all);
  if (auto problem = problemOfChanging(disk, change, state)) return problem;
  if (auto problem = apply(disk, change)) return problem;
  if (change.changesVolume())
    if (auto problem = problemOfPlace(disk, all)) return problem;
  if (change.changesBackup() || change.changesPlace()) return problemOfBackup(disk);
  return std::nullopt;
}

}  // namespace settings
