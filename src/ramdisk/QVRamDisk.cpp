#include "ramdisk/QVRamDisk.h"

#include <fmt/format.h>

#include <functional>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "system/QVFunctions.h"
#include "system/QVMacInfo.h"
#include "system/RealPath.h"

namespace {

using Text = QVRamDisk::Text;

constexpr std::string_view kTable = "QVRamDiskLocalizable";
constexpr char kDefaultName[] = "RamDisk";
constexpr std::uint64_t kSmallMemory =
    2'147'483'648;  // bytes; up to here the smaller default holds

const char* kindKey(QVRamDiskType type) {
  switch (type) {
    case QVRamDiskType_Safari:
      return "QVRamDiskType_Safari";
    case QVRamDiskType_XcodeBuild:
      return "QVRamDiskType_XcodeBuild";
    case QVRamDiskType_IOsSimulator:
      return "QVRamDiskType_IOsSimulator";
    case QVRamDiskType_CoreSimulator:
      return "QVRamDiskType_CoreSimulator";
    case QVRamDiskType_AppCodeCaches:
      return "QVRamDiskType_AppCodeCaches";
    case QVRamDiskType_Firefox:
      return "QVRamDiskType_Firefox";
    case QVRamDiskType_Chrome:
      return "QVRamDiskType_Chrome";
    case QVRamDiskType_Opera:
      return "QVRamDiskType_Opera";
    default:
      return nullptr;
  }
}

std::string home() { return platform::services().places->home().value_or(""); }

// Directories below the home folder are kept so that they follow it when it moves, which it may
// have done by a link.
Text abbreviated(const Text& path) {
  if (!path) return std::nullopt;
  const std::string given = extensions::abbreviatingWithTilde(*path, home());
  return given == *path ? extensions::abbreviatingWithTilde(*path, realPath(home())) : given;
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

std::shared_ptr<QVRamDisk> QVRamDisk::init() {
  struct Constructible : QVRamDisk {};
  auto disk = std::make_shared<Constructible>();
  disk->identifier_ = QVFunctions::UUIDString();
  if (!disk->identifier_) QVLogCriticalException("QVRamDisk", "identifier==nil");
  disk->setName(kDefaultName);
  disk->setSize(defaultCapSize());
  return disk;
}

std::uint64_t QVRamDisk::defaultCapSize() {
  return QVMacInfo::physicalMemory() > kSmallMemory ? 1'000'000'000 : 512'000'000;
}

std::size_t QVRamDisk::hash() const { return std::hash<std::string>()(identifier_.value_or("")); }

bool QVRamDisk::isEqual(const std::shared_ptr<const QVRamDisk>& other) const {
  if (!other || !other->isOfClassOf(*this)) return false;
  if (other.get() == this) return true;
  return identifier_ && identifier_ == other->identifier_;
}

bool QVRamDisk::isOfClassOf(const QVRamDisk& other) const {
  return !dynamic_cast<const QVRamDiskEntry*>(&other);
}

bool QVRamDiskEntry::isOfClassOf(const QVRamDisk&) const { return true; }

std::string QVRamDisk::description() const {
  return fmt::format("<QVRamDisk: {}>", fmt::ptr(this));
}

QVComparableValues QVRamDisk::comparableValues() const {
  const std::lock_guard lock(mutex_);
  return {settings_.name, observed_.volSize, observed_.volFree};
}

Text QVRamDisk::displayName() const {
  const auto known = settings();
  if (known.type == QVRamDiskType_CoreSimulator && known.simId) return simulatorName();
  if (const char* key = kindKey(known.type)) return QVLocalized(key, kTable);
  return known.name;
}

bool QVRamDisk::savesContents() const {
  const auto known = settings();
  return known.isKeptInBase() || known.backupFolder(identifier_);
}

std::string QVRamDisk::displayStatus() const {
  switch (status()) {
    case QVRamDiskStatus_mounted:
      return QVLocalized("QVRamDiskStatus_mounted", kTable);
    case QVRamDiskStatus_created:
      return QVLocalized("QVRamDiskStatus_created", kTable);
    default:
      return QVLocalized("QVRamDiskStatus_notCreated", kTable);
  }
}

// Another thread sees the kind that it was or the one that it is, and nothing between.
void QVRamDisk::changeToType(QVRamDiskType type, std::uint64_t options) {
  const bool keepSettings = (options & QVRamDiskChangeTypeKeepSettings) != 0;
  const auto infos = QVRamDiskManager::creationInfosOfRamDiskType(type, simId());
  const bool takesOn = type != QVRamDiskType_Default && infos && infos->status == 1;
  if (takesOn || !keepSettings)
    change([&](DiskSettings& settings, DiskObservation&) {
      settings.type = takesOn ? type : QVRamDiskType_Default;
      settings.name = takesOn ? infos->name : kDefaultName;
      settings.mountDirectory = takesOn ? infos->mountDirectory : std::nullopt;
      settings.givenPath = std::nullopt;
      settings.useRealPlace();
      settings.preferWired = false;
      if (keepSettings) return;
      settings.size = takesOn ? infos->size.value_or(0) : defaultCapSize();
      settings.backupMode = QVRamDiskBackupMode_None;
      settings.backupDir = std::nullopt;
    });
  forgetWhatIsShown();
}

// --- Archiving

std::vector<std::string> QVRamDisk::archiveClasses() const { return {"QVRamDisk", "NSObject"}; }

std::vector<std::string> QVRamDiskEntry::archiveClasses() const {
  return {"QVRamDiskEntry", "QVRamDisk", "NSObject"};
}

void QVRamDisk::encodeWithCoder(extensions::KeyedArchiver& coder) const {
  const auto known = settings();
  const auto seen = observed();
  coder.encodeInteger("type", known.type);
  coder.encodeString("identifier", identifier_);
  coder.encodeInteger("format", known.format);
  coder.encodeString("name", known.name);
  coder.encodeUnsigned("size", known.size);
  coder.encodeString("mountDirectory", abbreviated(known.mountDirectory));
  if (known.givenPath) coder.encodeString("givenPath", abbreviated(known.givenPath));
  coder.encodeString("simId", known.simId);
  coder.encodeBool("preferWired", known.preferWired);
  coder.encodeBool("createAtLogin", known.createAtLogin);
  coder.encodeBool("doNotCalculateBaseSize", known.doNotCalculateBaseSize);
  coder.encodeString("postCmd", known.postCmd);
  coder.encodeStrings("postCmdArgs", known.postCmdArgs);
  coder.encodeInteger("mdIndexMode", known.mdIndexMode);
  coder.encodeInteger("backupMode", known.backupMode);
  coder.encodeString("backupDir", known.backupDir);
  coder.encodeInteger("status", seen.status);
  coder.encodeString("deviceNode", seen.deviceNode);
  coder.encodeString("path", seen.path);
}

void QVRamDisk::readFrom(const extensions::KeyedUnarchiver& coder) {
  identifier_ = coder.decodeString("identifier");
  change([&](DiskSettings& settings, DiskObservation& observed) {
    settings.type = decoded<QVRamDiskType>(coder, "type");
    settings.format = knownFormat(coder.decodeInteger("format"));
    settings.name = coder.decodeString("name");
    settings.size = coder.decodeUnsigned("size").value_or(0);
    settings.mountDirectory = expanded(coder.decodeString("mountDirectory"));
    settings.givenPath = expanded(coder.decodeString("givenPath"));
    settings.simId = coder.decodeString("simId");
    settings.preferWired = coder.decodeBool("preferWired");
    settings.createAtLogin = coder.decodeBool("createAtLogin");
    settings.doNotCalculateBaseSize = coder.decodeBool("doNotCalculateBaseSize");
    settings.postCmd = coder.decodeString("postCmd");
    settings.postCmdArgs = coder.decodeStrings("postCmdArgs");
    settings.mdIndexMode = decoded<QVRamDiskMdIndexMode>(coder, "mdIndexMode");
    settings.backupMode = decoded<QVRamDiskBackupMode>(coder, "backupMode");
    settings.backupDir = coder.decodeString("backupDir");
    observed.status = decoded<QVRamDiskStatus>(coder, "status");
    observed.deviceNode = coder.decodeString("deviceNode");
    observed.path = coder.decodeString("path");
    observed.uuid = coder.decodeString("uuid");
    observed.devUUID = coder.decodeNumber("devUUID");
    settings.useRealPlace();
  });
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
