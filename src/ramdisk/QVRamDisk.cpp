#include "ramdisk/QVRamDisk.h"

#include <fmt/format.h>

#include <functional>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "kinds/QVRamDiskManager.h"
#include "system/QVFunctions.h"
#include "system/QVMacInfo.h"

namespace {

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

QVComparableValues QVRamDisk::comparableValues() const { return {name(), volSize(), volFree()}; }

QVRamDisk::Text QVRamDisk::displayName() const {
  const auto kind = type();
  if (kind == QVRamDiskType_CoreSimulator && simId()) return simulatorName();
  if (const char* key = kindKey(kind)) return QVLocalized(key, kTable);
  return name();
}

QVRamDisk::Text QVRamDisk::simulatorName() const {
  const Text id = simId();
  auto device = simDevice_.get();
  if (!device || device->dirId() != id) {
    device = QVSimDevice::simDeviceWithDirId(id);
    simDevice_.set(device);
  }
  return device ? device->displayName() : id;
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

void QVRamDisk::changeToType(QVRamDiskType type, std::uint64_t options) {
  simDevice_.set(nullptr);
  takeOnType(type, options);
  forgetDisplayIcons();
}

void QVRamDisk::takeOnType(QVRamDiskType type, std::uint64_t options) {
  const bool keepSettings = (options & QVRamDiskChangeTypeKeepSettings) != 0;
  const auto infos = QVRamDiskManager::creationInfosOfRamDiskType(type, simId());
  if (type != QVRamDiskType_Default && infos && infos->status == 1) {
    type_.set(type);
    setName(infos->name);
    setMountDirectory(infos->mountDirectory);
    setPreferWired(false);
    if (keepSettings) return;
    setSize(infos->size.value_or(0));
  } else {
    if (keepSettings) return;
    type_.set(QVRamDiskType_Default);
    setName(kDefaultName);
    setSize(defaultCapSize());
    setMountDirectory(std::nullopt);
    setPreferWired(false);
  }
  setBackupMode(QVRamDiskBackupMode_None);
  setBackupDir(std::nullopt);
}
