#include "settings/Problem.h"

#include "core/QVLocalized.h"

namespace settings {
namespace {

std::string ofBackup(const Problem& problem) {
  switch (problem.reason) {
    case Reason::BackupDirectoryMissing:
      return QVLocalized("The backup directory does not exist.");
    case Reason::BackupDirectoryReadOnly:
      return QVLocalized("The backup directory is not writable.");
    case Reason::BackupDirectoryOnDisk:
      return QVLocalized("The backup directory lies on the RamDisk itself.");
    case Reason::NoBase:
      return QVLocalized("There is no mount directory to write the contents back to.");
    default:
      return QVLocalized("The backup directory is not specified.");
  }
}

std::string ofRegistry(const Problem& problem) {
  switch (problem.reason) {
    case Reason::Unreadable:
      return QVLocalizedFormat(
          "The list of RamDisks (%@) can not be read. Restore it from a backup, or move it away to "
          "start with an empty list.",
          {problem.path});
    case Reason::Unwritable:
      return QVLocalizedFormat("The list of RamDisks (%@) can not be written.", {problem.path}) +
             "\n" + problem.text;
    case Reason::RegistryBusy:
      return QVLocalizedFormat(
          "Another program keeps the list of RamDisks locked (%@). Try again when it is done, or "
          "end it.",
          {problem.path});
    default:
      return QVLocalized("The folder of the list of RamDisks can not be used.");
  }
}

std::string ofDisk(const Problem& problem) {
  switch (problem.reason) {
    case Reason::SharedPlace:
      return QVLocalizedFormat("The RamDisk %@ has its place at %@ already.",
                               {problem.subject, problem.path});
    case Reason::BaseAside:
      return QVLocalizedFormat(
          "The directory's own contents still lie in %@. Create and eject the RamDisk to put them "
          "back.",
          {problem.path});
    case Reason::Acting:
      return QVLocalized("Another program is working on this RamDisk");
    case Reason::Full:
      return QVLocalized("There are 15 RamDisks already, the most there can be.");
    case Reason::Gone:
      return QVLocalized("Another program removed the RamDisk.");
    default:
      return QVLocalized(
          "The RamDisk is created. Eject it to change its kind, name, directory, size and format, "
          "or to remove it.");
  }
}

std::string ofKind(Reason reason) {
  return reason == Reason::KindNotInstalled
             ? QVLocalized("Its application is not installed, or its version is not supported.")
             : QVLocalized(
                   "Its directory is missing or not writable, or the version of the "
                   "application is not suitable.");
}

}  // namespace

std::string textOf(const Problem& problem) {
  switch (problem.reason) {
    case Reason::Validation:
    case Reason::PostCommand:
      return problem.text;
    case Reason::KindNotInstalled:
    case Reason::KindUnusable:
    case Reason::SimulatorOfOtherKind:
    case Reason::PlaceOfPreset:
      return ofKind(problem.reason);
    case Reason::BackupDirectoryUnused:
    case Reason::NoBackupDirectory:
    case Reason::BackupDirectoryMissing:
    case Reason::BackupDirectoryReadOnly:
    case Reason::BackupDirectoryOnDisk:
    case Reason::NoBase:
      return ofBackup(problem);
    case Reason::NoFolder:
    case Reason::Unreadable:
    case Reason::Unwritable:
    case Reason::RegistryBusy:
      return ofRegistry(problem);
    case Reason::SharedPlace:
    case Reason::BaseAside:
    case Reason::Created:
    case Reason::Acting:
    case Reason::Full:
    case Reason::Gone:
      return ofDisk(problem);
  }
  return {};
}

}  // namespace settings
