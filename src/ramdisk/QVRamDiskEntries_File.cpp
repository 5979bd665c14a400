#include <algorithm>

#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "ramdisk/ObservedState.h"
#include "ramdisk/QVRamDiskEntries.h"

namespace {

using namespace std::chrono_literals;

bool matches(const QVRamDisk& ramDisk, const QVDeviceListEntry& entry) {
  if (!entry.mountPoint) return false;
  if (QVRamDiskDevice::isVolumeOf(ramDisk.identifier(), entry.mountPoint)) return true;
  if (ramDisk.uuid() && ramDisk.uuid() == entry.uuid) return true;
  return ramDisk.devUUID() && entry.st_dev && *ramDisk.devUUID() == *entry.st_dev;
}

bool mayHaveVolume(const QVRamDisk& ramDisk) {
  return !ramDisk.path() && (ramDisk.deviceNode() || ramDisk.uuid() || ramDisk.devUUID());
}

using Devices = std::vector<QVDeviceListEntry>;

Devices presentDevices() {
  QVErrorPtr error;
  auto devices = QVRamDiskDevice::deviceList(true, error);
  if (!devices) QVLogError("QVRamDiskEntries", "devices==nil error:{}", QVDescription(error));
  return devices.value_or(Devices());
}

// A record that was saved where the volume could not be seen lost the way to it; the volume knows
// whose it is. One of an older version knows its volume by the volume's own identity only.
void findVolume(const QVRamDiskPtr& ramDisk, const Devices& devices) {
  const auto found = std::find_if(devices.begin(), devices.end(),
                                  [&](const auto& entry) { return matches(*ramDisk, entry); });
  if (found == devices.end()) return;
  ramDisk->setDeviceNode(found->devNode);
  ramDisk->setPath(found->mountPoint);
  const auto infos = QVRamDiskDevice::infosOf(found->devNode, ramDisk->identifier());
  if (!QVRamDiskDevice::setExtendedRamDiskInfos(infos, found->mountPoint))
    QVLogError("QVRamDiskEntries", "setExtendedRamDiskInfos==NO mountPoint:{}", *found->mountPoint);
}

Checked changeDefaultFile(
    const std::function<bool(RegistryFile&, std::optional<RegistryContents>&)>& edit,
    std::chrono::milliseconds patience) {
  const auto path = RegistryFile::defaultPath();
  if (!path) return Hindrance{Trouble::RegistryWithoutFolder};
  RegistryFile file(*path);
  return file.change([&](auto& contents) { return edit(file, contents); }, patience);
}

}  // namespace

// What is known of a disk is taken on before the look at the system, which builds on it.
void QVRamDiskEntries::replaceList(const std::vector<QVRamDiskPtr>& records,
                                   const std::vector<QVRamDiskPtr>& observed) {
  ramDisks_.clear();
  std::optional<Devices> devices;  // asked for once, and only when a record needs it
  for (const auto& record : records) {
    if (record->type() != QVRamDiskType_Reserved) ramDisks_.push_back(record);
    if (!mayHaveVolume(*record)) continue;
    if (!devices) devices = presentDevices();
    findVolume(record, *devices);
  }
  for (const auto& known : observed)
    if (const auto record = ramDiskWithIdentifier(known->identifier()))
      takeOnState(*record, *known);
  for (const auto& ramDisk : ramDisks_) ramDisk->update();
}

bool QVRamDiskEntries::readRamDisksFromDefaultLocation() {
  readAgainKeepingStatesOf({});
  return false;
}

void QVRamDiskEntries::readAgainKeepingStatesOf(const std::vector<QVRamDiskPtr>& observed) {
  const auto path = RegistryFile::defaultPath();
  lastReading_ = RegistryReading::NoFolder;
  if (!path) return;
  RegistryFile file(*path);
  const auto contents = file.read();
  takeOver(contents, file.isDamaged(), observed);
}

void QVRamDiskEntries::takeOver(const std::optional<RegistryContents>& contents, bool isDamaged,
                                const std::vector<QVRamDiskPtr>& observed) {
  if (!contents) {
    lastReading_ = isDamaged ? RegistryReading::Unreadable : RegistryReading::Missing;
    return;
  }
  lastReading_ = isDamaged ? RegistryReading::PartlyDamaged : RegistryReading::Whole;
  auto known = unsaved_;
  known.insert(known.end(), observed.begin(), observed.end());
  replaceList(contents->ramDisks, known);
  showInMenuBar_ = contents->showInMenuBar;
  showInMenuBarAtLogin_ = contents->showInMenuBarAtLogin;
  saveAtSessionEnd_ = contents->saveAtSessionEnd;
}

RegistryContents QVRamDiskEntries::contents() const {
  return {ramDisks_, showInMenuBar_, showInMenuBarAtLogin_, saveAtSessionEnd_};
}

Checked QVRamDiskEntries::changeFile(const std::function<bool()>& edit,
                                     std::chrono::milliseconds patience) {
  return changeDefaultFile(
      [&](const RegistryFile& file, auto& contents) {
        takeOver(contents, file.isDamaged(), {});
        if (!edit()) return false;
        contents = this->contents();
        return true;
      },
      patience);
}

bool QVRamDiskEntries::writeRamDisksToDefaultLocation() {
  const auto path = RegistryFile::defaultPath();
  return path && RegistryFile(*path).write(contents());
}

// Where the file is gone or cannot be read, this list is the best there is.
void QVRamDiskEntries::putStates(std::optional<RegistryContents>& contents) const {
  if (!contents) contents = this->contents();
  for (const auto& ramDisk : unsaved_) putState(contents->ramDisks, ramDisk);
}

Checked QVRamDiskEntries::saveStatesOf(const std::vector<QVRamDiskPtr>& observed,
                                       std::chrono::milliseconds patience) {
  unsaved_.insert(unsaved_.end(), observed.begin(), observed.end());
  if (unsaved_.empty()) return {};
  auto saved = changeDefaultFile(
      [&](const RegistryFile&, auto& contents) {
        putStates(contents);
        return true;
      },
      patience);
  const bool wasWaiting = isWaitingForFile_;
  isWaitingForFile_ = !saved && saved.error().trouble == Trouble::RegistryBusy;
  if (saved) unsaved_.clear();
  if (isWaitingForFile_ && !wasWaiting)
    QVLogError("QVRamDiskEntries",
               "another program keeps {} locked; the list is saved when it lets go",
               saved.error().facts.path);
  return saved;
}

// Others were told of the action's end before its state was there.
void QVRamDiskEntries::saveStatesAtLast() {
  if (saveStatesOf({}, 0ms)) postDidChangeToAllNotificationWithSender(kSenderHelper);
}
