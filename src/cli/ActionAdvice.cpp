#include "cli/ActionAdvice.h"

#include "cli/DiskNames.h"

namespace cli {

std::string adviceFor(Remedy remedy, const QVRamDisk& disk) {
  const std::string name = nameOf(disk);
  switch (remedy) {
    case Remedy::MakeLarger:
      return "make it larger with 'tarnvale set " + name + " --size SIZE'";
    case Remedy::CheckCommand:
      return "try the command by hand, or change it with 'tarnvale set " + name +
             " --post-command'";
    case Remedy::FreeThePlace:
      return "unmount what is mounted there, or give the disk another place";
    case Remedy::CreateAnew:
      return "the device holds another volume; 'tarnvale create " + name + "' makes the disk anew";
    case Remedy::WaitForOther:
      return "try again when it is done";
    case Remedy::UndoTheRefill:
      return "its contents never came in whole; 'tarnvale recover " + name + "' undoes it";
    case Remedy::LookForContents:
      return "the disk is mounted, but its contents could not be brought back";
    case Remedy::EndWhatUsesIt:
      return "the disk is still mounted with its contents; end what uses it, or make room for "
             "saving, and try again";
    case Remedy::PutTheBaseBack:
      return "the directory's own contents lie in " + disk.savedBasePath().value_or("") +
             "; 'tarnvale recover " + name + "' puts them back";
    case Remedy::None:
      break;
  }
  return {};
}

}  // namespace cli
