#include "ramdisk/Remedy.h"

#include "platform/Services.h"

namespace {

Remedy byCode(QVErrorCode code) {
  switch (code) {
    case QVErrorCode::ContentsTooLarge:
      return Remedy::MakeLarger;
    case QVErrorCode::CommandFailed:
      return Remedy::CheckCommand;
    case QVErrorCode::PlaceTaken:
      return Remedy::FreeThePlace;
    case QVErrorCode::OtherVolume:
      return Remedy::CreateAnew;
    case QVErrorCode::Locked:
      return Remedy::WaitForOther;
    case QVErrorCode::RefillUnfinished:
      return Remedy::UndoTheRefill;
    case QVErrorCode::NotRestored:
      return Remedy::LookForContents;
    default:
      return Remedy::None;
  }
}

bool isBaseAside(const QVRamDisk& disk) {
  const auto aside = disk.savedBasePath();
  return aside && platform::services().files->kind(*aside) != platform::FileKind::Missing;
}

}  // namespace

Remedy remedyFor(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action) {
  if (const Remedy known = byCode(error.code()); known != Remedy::None) return known;
  const bool ejects = action == QVRamDiskActionEject || action == QVRamDiskActionRebuild;
  if (disk.status() == QVRamDiskStatus_mounted)
    return ejects ? Remedy::EndWhatUsesIt : Remedy::None;
  return isBaseAside(disk) ? Remedy::PutTheBaseBack : Remedy::None;
}
