#include "ramdisk/Remedy.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "platform/Services.h"

namespace {

constexpr std::array<std::pair<std::string_view, Remedy>, 7> kByReason = {{
    {"directoryStatistics.totalSize", Remedy::MakeLarger},
    {"runPostCommand", Remedy::CheckCommand},
    {"getExtentedAttribute==NO", Remedy::FreeThePlace},
    {"identifier", Remedy::CreateAnew},
    {"lock", Remedy::WaitForOther},
    {"refillUnderWay", Remedy::UndoTheRefill},
    {"restoreRamDiskAtPath", Remedy::LookForContents},
}};

// Whether the error or one that it came from carries the tag.
bool comesFrom(const QVError& error, std::string_view reason) {
  if (error.reason() == reason) return true;
  const auto* cause = std::get_if<QVErrorPtr>(&error.depends());
  return cause && *cause && comesFrom(**cause, reason);
}

bool isBaseAside(const QVRamDisk& disk) {
  const auto aside = disk.savedBasePath();
  return aside && platform::services().files->kind(*aside) != platform::FileKind::Missing;
}

}  // namespace

Remedy remedyFor(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action) {
  const auto known = std::find_if(kByReason.begin(), kByReason.end(), [&error](const auto& each) {
    return comesFrom(error, each.first);
  });
  if (known != kByReason.end()) return known->second;
  const bool ejects = action == QVRamDiskActionEject || action == QVRamDiskActionRebuild;
  if (disk.status() == QVRamDiskStatus_mounted)
    return ejects ? Remedy::EndWhatUsesIt : Remedy::None;
  return isBaseAside(disk) ? Remedy::PutTheBaseBack : Remedy::None;
}
