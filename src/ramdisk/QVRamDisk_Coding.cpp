#include <string>

#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDisk.h"

namespace {

using Text = std::optional<std::string>;

std::string home() { return platform::services().places->home().value_or(""); }

// Directories below the home folder are kept so that they follow it when it moves.
Text abbreviated(const Text& path) {
  return path ? Text(extensions::abbreviatingWithTilde(*path, home())) : std::nullopt;
}

Text expanded(const Text& path) {
  return path ? Text(extensions::expandingTilde(*path, home())) : std::nullopt;
}

template <class Enumeration>
Enumeration decoded(const extensions::KeyedUnarchiver& coder, std::string_view key) {
  return static_cast<Enumeration>(coder.decodeInteger(key));
}

QVRamDiskFormat knownFormat(std::int64_t value) {
  return value == QVRamDiskFormat_CaseSensitiveHFSPlus ? QVRamDiskFormat_CaseSensitiveHFSPlus
                                                       : QVRamDiskFormat_HFSPlus;
}

}  // namespace

std::vector<std::string> QVRamDisk::archiveClasses() const { return {"QVRamDisk", "NSObject"}; }

std::vector<std::string> QVRamDiskEntry::archiveClasses() const {
  return {"QVRamDiskEntry", "QVRamDisk", "NSObject"};
}

void QVRamDisk::encodeWithCoder(extensions::KeyedArchiver& coder) const {
  coder.encodeInteger("type", type());
  coder.encodeString("identifier", identifier_);
  coder.encodeInteger("format", format());
  coder.encodeString("name", name());
  coder.encodeUnsigned("size", size());
  coder.encodeString("mountDirectory", abbreviated(mountDirectory()));
  coder.encodeString("simId", simId());
  coder.encodeBool("preferWired", preferWired());
  coder.encodeBool("createAtLogin", createAtLogin());
  coder.encodeBool("doNotCalculateBaseSize", doNotCalculateBaseSize());
  coder.encodeString("postCmd", postCmd());
  coder.encodeStrings("postCmdArgs", postCmdArgs());
  coder.encodeInteger("mdIndexMode", mdIndexMode());
  coder.encodeInteger("backupMode", backupMode());
  coder.encodeString("backupDir", backupDir());
  coder.encodeInteger("status", status());
  coder.encodeString("deviceNode", deviceNode());
  coder.encodeString("path", path());
}

void QVRamDisk::readFrom(const extensions::KeyedUnarchiver& coder) {
  type_.set(decoded<QVRamDiskType>(coder, "type"));
  identifier_ = coder.decodeString("identifier");
  setFormat(knownFormat(coder.decodeInteger("format")));
  setName(coder.decodeString("name"));
  setSize(coder.decodeUnsigned("size").value_or(0));
  setMountDirectory(expanded(coder.decodeString("mountDirectory")));
  setSimId(coder.decodeString("simId"));
  setPreferWired(coder.decodeBool("preferWired"));
  setCreateAtLogin(coder.decodeBool("createAtLogin"));
  setDoNotCalculateBaseSize(coder.decodeBool("doNotCalculateBaseSize"));
  setPostCmd(coder.decodeString("postCmd"));
  setPostCmdArgs(coder.decodeStrings("postCmdArgs"));
  setMdIndexMode(decoded<QVRamDiskMdIndexMode>(coder, "mdIndexMode"));
  setBackupMode(decoded<QVRamDiskBackupMode>(coder, "backupMode"));
  setBackupDir(coder.decodeString("backupDir"));
  setStatus(decoded<QVRamDiskStatus>(coder, "status"));
  setDeviceNode(coder.decodeString("deviceNode"));
  setPath(coder.decodeString("path"));
  setUuid(coder.decodeString("uuid"));
  setDevUUID(coder.decodeNumber("devUUID"));
}

std::shared_ptr<QVRamDisk> QVRamDisk::initWithCoder(const extensions::KeyedUnarchiver& coder) {
  struct Constructible : QVRamDisk {};
  auto disk = std::make_shared<Constructible>();
  disk->readFrom(coder);
  return disk;
}

std::shared_ptr<QVRamDisk> QVRamDiskEntry::initWithCoder(const extensions::KeyedUnarchiver& coder) {
  auto disk = std::make_shared<QVRamDiskEntry>();
  disk->readFrom(coder);
  return disk;
}
