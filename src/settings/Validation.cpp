#include "settings/Validation.h"

#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/ActionLock.h"
#include "ramdisk/Surroundings.h"

namespace settings {
namespace {

using platform::FileKind;
using platform::services;

Outcome at(Field field, const Checked& check, const std::optional<std::string>& subject = {}) {
  if (check) return {};
  Problem problem{.trouble = check.error().trouble, .field = field, .facts = check.error().facts};
  if (problem.facts.subject.empty()) problem.facts.subject = subject.value_or("");
  return problem;
}

Outcome checkName(const QVRamDisk& disk) {
  return at(Field::Name, QVRamDiskManager::checkName(disk.name()));
}

Outcome checkNameFits(const QVRamDisk& disk) {
  return at(Field::Name, QVRamDiskManager::checkNameFits(disk.mountDirectory(), disk.name()));
}

Outcome checkSize(const QVRamDisk& disk) {
  const auto sized = QVRamDiskManager::checkSize(disk.size());
  return at(Field::Size, sized ? QVRamDiskManager::checkMemory(disk.size()) : sized);
}

Outcome checkDirectory(const QVRamDisk& disk) {
  if (!disk.mountDirectory()) return {};
  return at(Field::Directory,
            QVRamDiskManager::checkMountDirectory(disk.mountDirectory(), disk.name(), disk.type()),
            disk.mountDirectory());
}

Outcome checkSurroundings(const QVRamDisk& disk, const Disks& all) {
  return at(disk.mountDirectory() ? Field::Directory : Field::Name, checkPlaceAmong(disk, all),
            disk.mountPath());
}

Problem atBackupDirectory(Trouble trouble, const std::string& path = {}) {
  return {.trouble = trouble, .field = Field::BackupDirectory, .facts = {.path = path}};
}

Outcome checkBackupDirectory(const QVRamDisk& disk, const Disks& all) {
  const auto path = disk.backupDir();
  if (!path) return atBackupDirectory(Trouble::BackupDirectoryUnspecified);
  if (services().files->kind(*path) != FileKind::Directory)
    return atBackupDirectory(Trouble::BackupDirectoryMissing, *path);
  if (!services().files->isWritable(*path))
    return atBackupDirectory(Trouble::BackupDirectoryReadOnly, *path);
  return at(Field::BackupDirectory, checkBackupAmong(disk, all));
}

bool entersOrLeavesBase(const QVRamDisk& disk, const Change& change) {
  if (!change.changesBackup()) return false;
  const bool enters = change.backup == QVRamDiskBackupMode_Base;
  return enters != (disk.backupMode() == QVRamDiskBackupMode_Base);
}

// A disk that another program is creating has no device yet that the list would know of.
Outcome checkUse(const QVRamDisk& disk, DiskState& state, Trouble whenCreated) {
  const std::string name = disk.name().value_or("");
  if (state.status(disk) != QVRamDiskStatus_notCreated)
    return Problem{.trouble = whenCreated, .facts = {.subject = name}};
  if (!ActionLock::isTaken(disk.identifier())) return {};
  return Problem{.trouble = Trouble::Acting,
                 .facts = {.subject = name, .text = ActionLock::holderOf(disk.identifier())}};
}

void add(std::vector<Problem>& problems, const Outcome& check) {
  if (!check) problems.push_back(check.error());
}

}  // namespace

Outcome checkPlace(const QVRamDisk& disk, const Disks& all) {
  for (const auto check : {checkName, checkSize, checkDirectory, checkNameFits})
    if (auto passed = check(disk); !passed) return passed;
  return checkSurroundings(disk, all);
}

Outcome checkBackup(const QVRamDisk& disk, const Disks& all) {
  switch (disk.backupMode()) {
    case QVRamDiskBackupMode_Base:
      if (disk.mountDirectory()) return {};
      return Problem{.trouble = Trouble::NoBase, .field = Field::Backup};
    case QVRamDiskBackupMode_Directory:
      return checkBackupDirectory(disk, all);
    default:
      return {};
  }
}

Outcome checkContents(const QVRamDisk& disk) {
  return at(Field::Backup, checkNothingReplaced(disk), disk.name());
}

Outcome noteOnContents(const QVRamDisk& disk) {
  return at(Field::Backup, checkNothingHidden(disk), disk.name());
}

Outcome checkCreation(const QVRamDisk& disk) {
  return at(Field::Disk, checkCreationOf(disk), disk.name());
}

std::vector<Problem> problemsOfDraft(const QVRamDisk& draft, const Change& change,
                                     const Disks& all) {
  std::vector<Problem> problems;
  if (change.changesVolume()) {
    for (const auto check : {checkName, checkSize, checkDirectory, checkNameFits})
      add(problems, check(draft));
    if (problems.empty()) add(problems, checkSurroundings(draft, all));
  }
  if (change.changesBackup() || change.changesPlace()) add(problems, checkBackup(draft, all));
  if (change.changesContents()) add(problems, checkContents(draft));
  Change unplaced = change;  // that a preset has its own place is no problem of a form
  unplaced.name = unplaced.directory = std::nullopt;
  add(problems, checkApplying(draft, unplaced));
  return problems;
}

Outcome checkBaseAside(const QVRamDisk& disk) {
  const auto aside = disk.savedBasePath();
  if (!aside || services().files->kind(*aside) == FileKind::Missing) return {};
  return Problem{.trouble = Trouble::BaseAside,
                 .facts = {.subject = disk.name().value_or(""), .path = *aside}};
}

Outcome checkChanging(const QVRamDisk& disk, const Change& change, DiskState& state) {
  const bool movesBase = entersOrLeavesBase(disk, change);
  if (change.changesVolume() || movesBase)
    if (auto unused = checkUse(disk, state, Trouble::CreatedAsItIs); !unused) return unused;
  return change.changesPlace() || movesBase ? checkBaseAside(disk) : Outcome();
}

Outcome checkRemoving(const QVRamDisk& disk, DiskState& state) {
  auto unused = checkUse(disk, state, Trouble::Created);
  return unused ? checkBaseAside(disk) : unused;
}

Outcome change(QVRamDisk& disk, const Change& change, const Disks& all) {
  DiskState state(all);
  if (auto may = checkChanging(disk, change, state); !may) return may;
  if (auto applied = apply(disk, change); !applied) return applied;
  if (change.changesVolume())
    if (auto placed = checkPlace(disk, all); !placed) return placed;
  if (change.changesBackup() || change.changesPlace())
    if (auto kept = checkBackup(disk, all); !kept) return kept;
  return change.changesContents() ? checkContents(disk) : Outcome();
}

}  // namespace settings
