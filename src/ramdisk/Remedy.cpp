#include "ramdisk/Remedy.h"

#include "platform/Services.h"

namespace {

Trouble byCode(QVErrorCode code) {
  switch (code) {
    case QVErrorCode::ContentsTooLarge:
      return Trouble::ContentsTooLarge;
    case QVErrorCode::CommandFailed:
      return Trouble::CommandFailed;
    case QVErrorCode::PlaceTaken:
      return Trouble::PlaceTaken;
    case QVErrorCode::OtherVolume:
      return Trouble::OtherVolume;
    case QVErrorCode::Locked:
      return Trouble::Locked;
    case QVErrorCode::RefillUnfinished:
      return Trouble::RefillUnfinished;
    case QVErrorCode::NotRestored:
      return Trouble::NotRestored;
    case QVErrorCode::InUse:
      return Trouble::InUse;
    case QVErrorCode::NotAllSaved:
      return Trouble::NotAllSaved;
    case QVErrorCode::CannotBeHeld:
      return Trouble::CannotBeHeld;
    default:
      return Trouble::None;
  }
}

bool isBaseAside(const QVRamDisk& disk) {
  const auto aside = disk.savedBasePath();
  return aside && platform::services().files->kind(*aside) != platform::FileKind::Missing;
}

Trouble troubleOf(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action) {
  if (const Trouble known = byCode(error.code()); known != Trouble::None) return known;
  const bool ejects = action == QVRamDiskActionEject || action == QVRamDiskActionRebuild;
  if (disk.status() == QVRamDiskStatus_mounted)
    return ejects ? Trouble::StillMounted : Trouble::None;
  return isBaseAside(disk) ? Trouble::BaseLeftAside : Trouble::None;
}

}  // namespace

Hindrance remedyFor(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action) {
  return {troubleOf(error, disk, action),
          {.subject = disk.name().value_or(""), .path = disk.savedBasePath().value_or("")}};
}
