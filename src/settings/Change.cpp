#include "settings/Change.h"

#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "kinds/QVRamDiskManager.h"
#include "settings/TypedText.h"
#include "system/RealPath.h"

namespace settings {
namespace {

QVRamDiskType kindAfter(const QVRamDisk& disk, const Change& change) {
  return change.kind.value_or(disk.type());
}

Outcome mayHaveKind(const QVRamDisk& disk, const Change& change) {
  if (!change.kind && !change.simulator) return {};
  const auto kind = kindAfter(disk, change);
  if (change.simulator && kind != QVRamDiskType_CoreSimulator)
    return Problem{.trouble = Trouble::SimulatorOfOtherKind, .field = Field::Simulator};
  const auto device = change.simulator ? change.simulator : disk.simId();
  const auto infos = QVRamDiskManager::creationInfosOfRamDiskType(kind, device);
  if (infos && infos->status == 1) return {};
  const bool installed = infos && infos->status == 0;
  return Problem{.trouble = installed ? Trouble::KindUnusable : Trouble::KindNotInstalled,
                 .field = Field::Kind,
                 .kind = kind};
}

Outcome mayHavePlace(const QVRamDisk& disk, const Change& change) {
  const auto kind = kindAfter(disk, change);
  if ((!change.name && !change.directory) || kind == QVRamDiskType_Default) return {};
  return Problem{.trouble = Trouble::PlaceOfPreset, .field = Field::Name, .kind = kind};
}

Outcome mayHaveBackup(const QVRamDisk&, const Change& change) {
  if (!change.backupDir ||
      change.backup.value_or(QVRamDiskBackupMode_Directory) == QVRamDiskBackupMode_Directory)
    return {};
  return Problem{.trouble = Trouble::BackupDirectoryUnused, .field = Field::BackupDirectory};
}

// The executable that a command's first word stands for.
std::string completedCommand(const std::string& word) {
  return QVRamDiskDevice::completePostCommand(expandedPath(word));
}

Outcome mayHaveCommand(const QVRamDisk&, const Change& change) {
  if (!change.postCommand || change.postCommand->empty()) return {};
  const std::string command = completedCommand(change.postCommand->front());
  QVRamDiskDevice::Text reason;
  if (QVRamDiskDevice::canStartPostCommand(command, &reason)) return {};
  return Problem{.trouble = Trouble::PostCommand,
                 .field = Field::PostCommand,
                 .facts = {.subject = command, .text = QVText(reason)}};
}

void assignKind(QVRamDisk& disk, const Change& change) {
  if (change.simulator) disk.setSimId(change.simulator);
  if (change.kind || change.simulator) disk.changeToType(kindAfter(disk, change), 0);
}

void assignPlace(QVRamDisk& disk, const Change& change) {
  disk.change([&](DiskSettings& settings, DiskObservation&) {
    if (change.name || change.directory) settings.givenPath = std::nullopt;
    if (change.name) settings.name = change.name;
    if (change.directory && change.directory->empty()) settings.mountDirectory = std::nullopt;
    if (change.directory && !change.directory->empty())
      settings.mountDirectory = absolutePath(expandedPath(*change.directory));
    settings.useRealPlace();
  });
}

void assignBackup(QVRamDisk& disk, const Change& change) {
  if (change.backup) disk.setBackupMode(*change.backup);
  if (!change.backupDir) return;
  disk.setBackupMode(QVRamDiskBackupMode_Directory);
  disk.setBackupDir(realPath(expandedPath(*change.backupDir)));
}

void assignPostCommand(QVRamDisk& disk, const Change& change) {
  if (!change.postCommand) return;
  auto words = *change.postCommand;
  if (words.empty()) {
    disk.setPostCmd(std::nullopt);
    disk.setPostCmdArgs(std::nullopt);
    return;
  }
  disk.setPostCmd(completedCommand(words.front()));
  words.erase(words.begin());
  disk.setPostCmdArgs(std::move(words));
}

void assignSwitches(QVRamDisk& disk, const Change& change) {
  if (change.index) disk.setMdIndexMode(*change.index);
  if (change.format) disk.setFormat(*change.format);
  if (change.atLogin) disk.setCreateAtLogin(*change.atLogin);
  if (change.measure) disk.setDoNotCalculateBaseSize(!*change.measure);
}

}  // namespace

Outcome checkApplying(const QVRamDisk& disk, const Change& change) {
  for (const auto check : {mayHaveKind, mayHavePlace, mayHaveBackup, mayHaveCommand})
    if (auto passed = check(disk, change); !passed) return passed;
  return {};
}

Outcome apply(QVRamDisk& disk, const Change& change) {
  if (auto allowed = checkApplying(disk, change); !allowed) return allowed;
  assign(disk, change);
  return {};
}

void assign(QVRamDisk& disk, const Change& change) {
  assignKind(disk, change);
  assignPlace(disk, change);
  if (change.size) disk.setSize(*change.size);
  assignBackup(disk, change);
  assignPostCommand(disk, change);
  assignSwitches(disk, change);
}

std::vector<std::string> postCommandOf(const QVRamDisk& disk) {
  const auto command = disk.postCmd();
  if (!command) return {};
  std::vector<std::string> words = {*command};
  const auto args = disk.postCmdArgs().value_or(std::vector<std::string>());
  words.insert(words.end(), args.begin(), args.end());
  return words;
}

}  // namespace settings
