#include <algorithm>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/DiskPlaces.h"
#include "system/ExtendedAttributes.h"
#include "system/QVFinderTools.h"
#include "system/QVFunctions.h"

namespace {

using platform::FileKind;
using platform::services;
using platform::Tool;
using Text = std::optional<std::string>;

QVErrorPtr failure(std::string_view message, std::string_view reason, QVErrorCause cause = {},
                   QVErrorCode code = QVErrorCode::None) {
  return QVError::errorWithMessage(QVLocalized(message), std::string(reason), std::move(cause),
                                   code);
}

// Runs a tool whose output nobody reads; null when it succeeded.
QVErrorPtr runTool(Tool tool, const QVFunctions::Arguments& args, std::string_view message,
                   std::string_view reason) {
  std::int64_t status = 0;
  Text errors;
  if (QVFunctions::executeCommand(services().places->tool(tool), args, status, nullptr, &errors) &&
      status == 0)
    return nullptr;
  return failure(message, reason, QVCauseFromText(errors));
}

QVErrorPtr eraseAndMount(const std::string& deviceNode, const std::string& name,
                         QVRamDiskFormat format) {
  const char* fileSystem =
      format == QVRamDiskFormat_CaseSensitiveHFSPlus ? "Case-sensitive HFS+" : "HFS+";
  return runTool(Tool::DiskUtility, {"erasevolume", fileSystem, name, deviceNode},
                 "Unable to erase and mount disk", "executeCommand:");
}

// The two tags tell the making of a missing mount path from its making anew after an eject.
QVErrorPtr createMountPath(const std::string& path, std::string_view reason) {
  if (const auto done = services().files->createDirectories(path); !done)
    return failure("Unable to mount disk", reason, done.error());
  return nullptr;
}

// Only an older volume of the same disk may be replaced; what is on another disk's nobody saved.
QVErrorPtr replaceMountedVolume(const std::string& path, const Text& identifier) {
  QVRamDiskDevice::Infos infos;
  if (!QVRamDiskDevice::getExtentedRamDiskInfos(infos, path) ||
      !QVRamDiskDevice::belongsTo(identifier, infos))
    return failure("Another volume is mounted", "getExtentedAttribute==NO", {},
                   QVErrorCode::PlaceTaken);
  const auto error =
      QVRamDiskDevice::ejectRamDiskDeviceNode(QVRamDiskDevice::deviceNodeIn(infos), path, false);
  if (error) return failure("Unable to mount disk", "ejectDeviceNode:path:", error);
  return createMountPath(path, "createDirectoryAtPath:");
}

QVErrorPtr clearMountPath(const std::string& path, const Text& identifier) {
  const FileKind kind = services().files->kind(path);
  if (kind == FileKind::Missing) return createMountPath(path, "createDirectoryAtPath");
  if (kind != FileKind::Directory) return failure("The target is not a directory", "isDir==NO");
  switch (QVRamDiskDevice::hasMountedVolumeAtPath(path)) {
    case 0:
      return nullptr;
    case 1:
      return replaceMountedVolume(path, identifier);
    default:
      return failure("Unable to get mount information", "state==-1");
  }
}

// Over a directory of the user's the volume is kept out of the file manager's side bar.
QVErrorPtr mountVolume(const std::string& deviceNode, const std::string& path, bool hidden) {
  QVFunctions::Arguments args = {"-o", "noatime"};
  if (hidden) args.insert(args.end(), {"-o", "nobrowse"});
  args.insert(args.end(), {"-t", "hfs", deviceNode, path});
  return runTool(Tool::Mounter, args, "Unable to mount disk", "executeCommand:");
}

QVErrorPtr mountAt(const std::string& path, const std::string& deviceNode, bool hidden,
                   const Text& identifier) {
  if (auto error = clearMountPath(path, identifier)) return error;
  return mountVolume(deviceNode, path, hidden);
}

QVErrorPtr labelVolume(const std::string& deviceNode, const Text& identifier, QVVolumeState state,
                       Text& mountedPath) {
  QVErrorPtr cause;
  const Text found = QVRamDiskDevice::mountPointFromDeviceNode(deviceNode, cause);
  if (!found)
    return failure("Unable to get mount point", "mountedPath==nil",
                   cause ? QVErrorCause(cause) : QVErrorCause());
  if (state == QVVolumeState::Known && !QVRamDiskDevice::isVolumeOf(identifier, found)) {
    QVRamDiskDevice::unmount(*found);
    return failure("Unable to mount disk", "identifier", {}, QVErrorCode::OtherVolume);
  }
  if (state == QVVolumeState::NewToBeFilled &&
      !QVSetExtendedAttribute(disk_places::kRefillUnderWay, disk_places::kRefillAttribute, found))
    return failure("Unable set extended info", "setExtendedAttribute==NO");
  if (!QVRamDiskDevice::setExtendedRamDiskInfos(QVRamDiskDevice::infosOf(deviceNode, identifier),
                                                found))
    return failure("Unable set extended info", "setExtendedRamDiskInfos==NO");
  mountedPath = found;
  return nullptr;
}

// What a file manager keeps of a folder's looks. Of the other names that the system uses some may
// be the user's, as of a trash with files in it.
bool holdsOnlySettings(const std::vector<std::string>& names) {
  return std::all_of(names.begin(), names.end(), [](const std::string& name) {
    return QVFinderTools::isSystemFileNameInFolder(name, 0) &&
           !QVFinderTools::isSystemFileNameInFolder(name, 1);
  });
}

void removeMountDirectory(const std::string& path) {
  if (services().files->kind(path) == FileKind::Missing) return;
  const auto names = services().files->names(path);
  if (!names) QVLogError("QVRamDiskDevice", "contents==nil error:{}", QVDescription(names.error()));
  if (!names || !holdsOnlySettings(*names)) return;
  for (const auto& name : *names)
    services().files->remove(extensions::appendingPathComponent(path, name));
  if (const auto done = services().files->removeEmpty(path); !done)
    QVLogError("QVRamDiskDevice", "removeItemAtPath:error: path:{} error:{}", path,
               QVDescription(done.error()));
}

}  // namespace

QVErrorPtr QVRamDiskDevice::mountDeviceNode(const Text& deviceNode, const Text& directory,
                                            const Text& name, QVRamDiskFormat format, QVRamDiskType,
                                            const Text& identifier, Text& mountedPath,
                                            QVVolumeState state) {
  if (!deviceNode) QVLogCriticalException("QVRamDiskDevice", "devNode==nil");
  if (!name) QVLogCriticalException("QVRamDiskDevice", "name==nil");
  const std::string node = deviceNode.value_or("");
  const bool byTheSystem =
      !directory && !services().files->isWritable(services().places->volumesDirectory());
  const auto error = byTheSystem ? eraseAndMount(node, name.value_or(""), format)
                                 : mountAt(disk_places::mountPath(directory, name), node,
                                           directory.has_value(), identifier);
  return error ? error : labelVolume(node, identifier, state, mountedPath);
}

QVErrorPtr QVRamDiskDevice::mountAsItIs(const std::string& deviceNode, const std::string& path) {
  if (services().files->kind(path) == FileKind::Missing)
    if (auto error = createMountPath(path, "createDirectoryAtPath")) return error;
  if (hasMountedVolumeAtPath(path) != 0) return failure("Unable to mount disk", "isMounted");
  return mountVolume(deviceNode, path, true);
}

QVErrorPtr QVRamDiskDevice::unmount(const std::string& path) {
  return runTool(Tool::Unmounter, {"-f", path}, "Unable to eject disk", "executeCommand==NO");
}

// On macOS "-u" changes the status of a mounted volume and "rdonly" and "rw" are options of the
// same tool, by its manual. Neither was run there, nor whether it takes an HFS+ volume back to
// writable.
QVErrorPtr QVRamDiskDevice::setWritable(const Text& deviceNode, const Text& path, bool writable) {
  constexpr std::string_view kReason = "setWritable";
  if (!deviceNode || !path) return failure("Unable to mount disk", kReason);
  return runTool(Tool::Mounter, {"-u", "-o", writable ? "rw" : "rdonly", *deviceNode, *path},
                 "Unable to mount disk", kReason);
}

QVErrorPtr QVRamDiskDevice::ejectRamDiskDeviceNode(const Text& deviceNode, const Text& path,
                                                   bool removeDir) {
  constexpr std::string_view kMessage = "Unable to eject disk";
  if (!deviceNode) return failure(kMessage, "deviceNode==nil");
  if (path && services().files->kind(*path) != FileKind::Missing) {
    if (auto error = runTool(Tool::Unmounter, {"-f", *path}, kMessage, "executeCommand==NO"))
      return error;
    if (removeDir) removeMountDirectory(*path);
  }
  return runTool(Tool::Attacher, {"detach", *deviceNode}, kMessage, "executeCommand==NO");
}

QVErrorPtr QVRamDiskDevice::forceEjectRamDiskAtPath(const Text& path) {
  QVErrorPtr error;
  const Text node = deviceNodeFromPath(path, error);
  return node ? ejectRamDiskDeviceNode(node, path, true) : error;
}
