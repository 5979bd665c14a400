#include <algorithm>
#include <filesystem>
#include <utility>

#include "cli/DiskNames.h"
#include "cli/DiskState.h"
#include "cli/Settings.h"
#include "cli/SizeText.h"
#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "system/QVMacInfo.h"

namespace cli {
namespace {

using platform::FileKind;
using platform::services;
using Message = QVRamDiskManager::Message;
using Problem = std::optional<Refusal>;

// What helps against a refusal, by the key of its message.
constexpr std::pair<const char*, const char*> kAdvice[] = {
    {"Please, specify a name of RamDisk", "give it one with --name"},
    {"The name contains invalid character.",
     "choose a name without slashes, control characters and the like"},
    {"Please, specify a correct size of RamDisk", "choose from 128M to 128G"},
    {"The mount directory is not specified.", "give one with --directory"},
    {"The mount directory does not exist.", "make it first or choose another"},
    {"The mount directory is not a directory.", "choose a directory"},
    {"The mount directory is not local.", "choose one on a disk of this machine"},
    {"The mount directory can not be a system directory.", "choose one of your own"},
    {"The mount directory can not be /Users.", "choose a directory below it"},
    {"The mount directory can not be /Volumes.", "choose a directory below it"},
    {"The mount directory can not be a library sub directory.", "choose one outside of it"},
    {"The mount directory is not writable.", "choose one that you may write to"},
};

// A message that is none of these says which application runs.
std::string advice(const std::string& message) {
  for (const auto& [key, text] : kAdvice)
    if (message == QVLocalized(key, "QVRamDiskLocalizable")) return text;
  if (message == QVLocalized("Insuffisant computer memory", "QVRamDiskLocalizable"))
    return "choose a smaller size; this machine has " + sizeText(QVMacInfo::physicalMemory());
  return "quit it first";
}

Refusal refused(const Message& message, const std::string& where = {}) {
  const std::string text = QVText(message);
  return {kRefused, where.empty() ? text : where + ": " + text, advice(text)};
}

// The place as it is compared: links in it are followed as far as it exists.
std::string resolved(const std::string& path) {
  std::error_code error;
  const auto real = std::filesystem::weakly_canonical(path, error);
  return error ? path : real.string();
}

Problem refuseSharedPlace(const QVRamDisk& disk, const std::vector<QVRamDiskPtr>& all) {
  const std::string place = resolved(mountPathOf(disk));
  const auto other = std::find_if(all.begin(), all.end(), [&](const auto& candidate) {
    return candidate.get() != &disk && resolved(mountPathOf(*candidate)) == place;
  });
  if (other == all.end()) return std::nullopt;
  return Refusal{kRefused,
                 "the disk " + nameOf(**other) + " has its place at " + place + " already",
                 "choose another name or directory, or change that one"};
}

bool isWithin(const std::string& path, const std::string& folder) {
  return path == folder || path.starts_with(folder + "/");
}

Problem validateBackupDirectory(const QVRamDisk& disk) {
  const auto directory = disk.backupDir();
  if (!directory)
    return Refusal{kWrongUsage, "there is no directory to keep the contents in",
                   "give one with --backup-dir"};
  if (services().files->kind(*directory) != FileKind::Directory)
    return Refusal{kRefused, "the backup directory " + *directory + " is not there",
                   "make it first or choose another"};
  if (!services().files->isWritable(*directory))
    return Refusal{kRefused, "the backup directory " + *directory + " is not writable",
                   "choose one that you may write to"};
  if (isWithin(resolved(*directory), resolved(mountPathOf(disk))))
    return Refusal{kRefused, "the backup directory " + *directory + " lies on the disk itself",
                   "choose one outside of it"};
  return std::nullopt;
}

}  // namespace

std::optional<Refusal> validatePlace(const QVRamDisk& disk, const std::vector<QVRamDiskPtr>& all) {
  Message message;
  // The plain kind has no application that could be running.
  if (!QVRamDiskManager::canCreateWithName(disk.name(), disk.size(), QVRamDiskType_Default,
                                           std::nullopt, message))
    return refused(message);
  if (disk.mountDirectory() && !QVRamDiskManager::canUseMountDirectory(
                                   disk.mountDirectory(), disk.name(), disk.type(), message))
    return refused(message, *disk.mountDirectory());
  return refuseSharedPlace(disk, all);
}

std::optional<Refusal> validateBackup(const QVRamDisk& disk) {
  switch (disk.backupMode()) {
    case QVRamDiskBackupMode_Base:
      if (disk.mountDirectory()) return std::nullopt;
      return Refusal{kRefused, "there is no directory to write the contents back to",
                     "give one with --directory or choose another --backup"};
    case QVRamDiskBackupMode_Directory:
      return validateBackupDirectory(disk);
    default:
      return std::nullopt;
  }
}

std::optional<Refusal> validateCreation(const QVRamDisk& disk) {
  Message message;
  if (QVRamDiskManager::canCreateWithName(disk.name(), disk.size(), disk.type(),
                                          disk.mountDirectory(), message))
    return std::nullopt;
  return refused(message, nameOf(disk));
}

std::optional<Refusal> refuseWhileBaseIsAside(const QVRamDisk& disk) {
  const auto aside = disk.savedBasePath();
  if (!aside || services().files->kind(*aside) == FileKind::Missing) return std::nullopt;
  return Refusal{kRefused,
                 nameOf(disk) + ": the directory's own contents still lie aside in " + *aside,
                 "create and eject the disk to put them back, or move them yourself"};
}

}  // namespace cli
