#include "cli/Refusals.h"

#include <utility>

#include "cli/Words.h"
#include "core/QVLocalized.h"
#include "settings/TypedText.h"
#include "system/QVMacInfo.h"

namespace cli {
namespace {

using settings::Problem;
using settings::Reason;

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
    return "choose a smaller size; this machine has " +
           settings::sizeText(QVMacInfo::physicalMemory());
  return "quit it first";
}

std::string kindWord(const Problem& problem) {
  return kindWords().of(static_cast<QVRamDiskType>(problem.kind));
}

Refusal ofValidation(const Problem& problem) {
  const auto& where = problem.subject;
  return {kRefused, where.empty() ? problem.text : where + ": " + problem.text,
          advice(problem.text)};
}

Refusal ofBackupDirectory(const Problem& problem) {
  const std::string directory = "the backup directory " + problem.path;
  switch (problem.reason) {
    case Reason::BackupDirectoryMissing:
      return {kRefused, directory + " is not there", "make it first or choose another"};
    case Reason::BackupDirectoryReadOnly:
      return {kRefused, directory + " is not writable", "choose one that you may write to"};
    default:
      return {kRefused, directory + " lies on the disk itself", "choose one outside of it"};
  }
}

Refusal ofKind(const Problem& problem) {
  const std::string what = "the application of the kind " + kindWord(problem);
  const char* why = problem.reason == Reason::KindNotInstalled
                        ? " is not installed, or its version is not supported"
                        : " cannot be used now: its directory is missing or not writable, "
                          "or its version is not suitable";
  return {kRefused, what + why, "'tarnvale kinds' shows what can be used"};
}

// What was asked for does not go together.
Refusal ofUsage(const Problem& problem) {
  switch (problem.reason) {
    case Reason::SimulatorOfOtherKind:
      return {kWrongUsage, "only a core-simulator disk takes a simulator device",
              "add --kind core-simulator"};
    case Reason::PlaceOfPreset:
      return {kWrongUsage,
              "a disk of the kind " + kindWord(problem) +
                  " has the name and the directory of its application",
              "leave --name, --directory and the path out"};
    case Reason::BackupDirectoryUnused:
      return {kWrongUsage, "--backup-dir goes with --backup directory only",
              "leave one of the two out"};
    default:
      return {kWrongUsage, "there is no directory to keep the contents in",
              "give one with --backup-dir"};
  }
}

Refusal ofRegistry(const Problem& problem) {
  switch (problem.reason) {
    case Reason::Unreadable:
      return {kActionFailed, "the registry " + problem.path + " cannot be read",
              "restore it from a backup or move it away to start with an empty list"};
    case Reason::Unwritable:
      return {kActionFailed,
              "the registry " + problem.path + " cannot be written (" + problem.text + ")",
              "check the permissions of this file and of its folder, and the free space there"};
    case Reason::RegistryBusy:
      return {kActionFailed,
              "another program keeps the registry locked and does not come to an end",
              "end it and try again; 'fuser " + problem.path + "' shows which it is"};
    case Reason::Gone:
      return {kNoSuchDisk, "the disk is there no more", {}};
    default:
      return {kActionFailed, "the folder of the registry cannot be had",
              "check the permissions of your home directory"};
  }
}

Refusal ofDisk(const Problem& problem) {
  switch (problem.reason) {
    case Reason::PostCommand:
      return {kRefused, "the post-command " + problem.subject + ": " + problem.text,
              "give the path of an executable"};
    case Reason::SharedPlace:
      return {kRefused,
              "the disk " + problem.subject + " has its place at " + problem.path + " already",
              "choose another name or directory, or change that one"};
    case Reason::NoBase:
      return {kRefused, "there is no directory to write the contents back to",
              "give one with --directory or choose another --backup"};
    case Reason::BaseAside:
      return {kRefused,
              problem.subject + ": the directory's own contents still lie aside in " + problem.path,
              "create and eject the disk to put them back, or move them yourself"};
    case Reason::Acting:
      return {kRefused, "another program is working on " + problem.subject,
              "try again when it is done"};
    case Reason::Full:
      return {kRefused, "there are 15 disks already, the most there can be",
              "remove one first with 'tarnvale remove'"};
    default:
      return {kRefused, problem.subject + " is created", "eject it first with 'tarnvale eject'"};
  }
}

}  // namespace

Refusal refusalOf(const Problem& problem) {
  switch (problem.reason) {
    case Reason::Validation:
      return ofValidation(problem);
    case Reason::KindNotInstalled:
    case Reason::KindUnusable:
      return ofKind(problem);
    case Reason::SimulatorOfOtherKind:
    case Reason::PlaceOfPreset:
    case Reason::BackupDirectoryUnused:
    case Reason::NoBackupDirectory:
      return ofUsage(problem);
    case Reason::BackupDirectoryMissing:
    case Reason::BackupDirectoryReadOnly:
    case Reason::BackupDirectoryOnDisk:
      return ofBackupDirectory(problem);
    case Reason::Gone:
    case Reason::NoFolder:
    case Reason::Unreadable:
    case Reason::Unwritable:
    case Reason::RegistryBusy:
      return ofRegistry(problem);
    case Reason::PostCommand:
    case Reason::SharedPlace:
    case Reason::NoBase:
    case Reason::BaseAside:
    case Reason::Created:
    case Reason::Acting:
    case Reason::Full:
      return ofDisk(problem);
  }
  return {};
}

std::optional<Refusal> refusalOf(const std::optional<Problem>& problem) {
  return problem ? std::optional(refusalOf(*problem)) : std::nullopt;
}

}  // namespace cli
