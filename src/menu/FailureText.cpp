#include "menu/FailureText.h"

#include "core/QVLocalized.h"
#include "extensions/ErrorText.h"
#include "ramdisk/Remedy.h"

namespace menu {
namespace {

std::string remedyText(Remedy remedy, const QVRamDisk& disk) {
  switch (remedy) {
    case Remedy::MakeLarger:
      return QVLocalized("Make the RAM disk larger in Tarnvale.");
    case Remedy::CheckCommand:
      return QVLocalized("Try the command by hand, or change it in Tarnvale.");
    case Remedy::FreeThePlace:
      return QVLocalized("Unmount what is mounted there, or give the RAM disk another place.");
    case Remedy::CreateAnew:
      return QVLocalized("The device holds another volume. Create the RAM disk anew.");
    case Remedy::WaitForOther:
      return QVLocalized("Try again when it is done.");
    case Remedy::UndoTheRefill:
      return QVLocalizedFormat(
          "Its contents never came in whole; the command \"tarnvale recover %@\" undoes it.",
          {disk.displayName().value_or("")});
    case Remedy::LookForContents:
      return QVLocalized("The RAM disk is mounted, but its contents could not be brought back.");
    case Remedy::EndWhatUsesIt:
      return QVLocalized(
          "The RAM disk is still mounted with its contents. End what uses it, or make room for "
          "saving, and try again.");
    case Remedy::PutTheBaseBack:
      return QVLocalizedFormat(
          "The directory's own contents lie in %@; the command \"tarnvale recover %@\" puts them "
          "back.",
          {disk.savedBasePath().value_or(""), disk.displayName().value_or("")});
    case Remedy::None:
      break;
  }
  return {};
}

}  // namespace

std::string failureText(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action) {
  std::string text = error.message();
  for (const auto& line :
       {extensions::causeText(error), remedyText(remedyFor(error, disk, action), disk)})
    if (!line.empty()) text += "\n" + line;
  return text;
}

}  // namespace menu
