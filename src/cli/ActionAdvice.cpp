#include "cli/ActionAdvice.h"

#include <algorithm>
#include <string_view>

#include "cli/DiskNames.h"
#include "platform/Services.h"

namespace cli {
namespace {

using platform::FileKind;
using platform::services;

// Whether the error or one that it came from carries the tag.
bool comesFrom(const QVError& error, std::string_view reason) {
  if (error.reason() == reason) return true;
  const auto* cause = std::get_if<QVErrorPtr>(&error.depends());
  return cause && *cause && comesFrom(**cause, reason);
}

}  // namespace

std::string adviceFor(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action) {
  const std::string name = nameOf(disk);
  if (comesFrom(error, "directoryStatistics.totalSize"))
    return "make it larger with 'tarnvale set " + name + " --size SIZE'";
  if (comesFrom(error, "runPostCommand"))
    return "try the command by hand, or change it with 'tarnvale set " + name + " --post-command'";
  if (comesFrom(error, "getExtentedAttribute==NO"))
    return "unmount what is mounted there, or give the disk another place";
  if (comesFrom(error, "identifier"))
    return "the device holds another volume; 'tarnvale create " + name + "' makes the disk anew";
  if (comesFrom(error, "lock")) return "try again when it is done";
  if (comesFrom(error, "refillUnderWay"))
    return "its contents never came in whole; 'tarnvale recover " + name + "' undoes it";
  if (comesFrom(error, "restoreRamDiskAtPath"))
    return "the disk is mounted, but its contents could not be brought back";
  const bool ejects = action == QVRamDiskActionEject || action == QVRamDiskActionRebuild;
  if (ejects && disk.status() == QVRamDiskStatus_mounted)
    return "the disk is still mounted with its contents; end what uses it, or make room for "
           "saving, and try again";
  if (const auto aside = disk.savedBasePath(); aside && disk.status() != QVRamDiskStatus_mounted &&
                                               services().files->kind(*aside) != FileKind::Missing)
    return "the directory's own contents lie in " + *aside + "; 'tarnvale recover " + name +
           "' puts them back";
  return {};
}

}  // namespace cli
