#include "core/QVLog.h"
#include "ramdisk/ObservedState.h"
#include "ramdisk/QVRamDiskEntries.h"

namespace {

using namespace std::chrono_literals;
using Reason = RegistryFailure::Reason;

std::optional<RegistryFailure> changeDefaultFile(
    const std::function<bool(RegistryFile&, std::optional<RegistryContents>&)>& edit,
    std::chrono::milliseconds patience) {
  const auto path = RegistryFile::defaultPath();
  if (!path) return RegistryFailure{Reason::NoFolder};
  RegistryFile file(*path);
  return file.change([&](auto& contents) { return edit(file, contents); }, patience);
}

}  // namespace

RegistryContents QVRamDiskEntries::contents() const {
  return {ramDisks_, showInMenuBar_, showInMenuBarAtLogin_, saveAtSessionEnd_};
}

std::optional<RegistryFailure> QVRamDiskEntries::changeFile(const std::function<bool()>& edit,
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

std::optional<RegistryFailure> QVRamDiskEntries::saveStatesOf(
    const std::vector<QVRamDiskPtr>& observed, std::chrono::milliseconds patience) {
  unsaved_.insert(unsaved_.end(), observed.begin(), observed.end());
  if (unsaved_.empty()) return std::nullopt;
  auto failure = changeDefaultFile(
      [&](const RegistryFile&, auto& contents) {
        putStates(contents);
        return true;
      },
      patience);
  const bool wasWaiting = isWaitingForFile_;
  isWaitingForFile_ = failure && failure->reason == Reason::Busy;
  if (!failure) unsaved_.clear();
  if (isWaitingForFile_ && !wasWaiting)
    QVLogError("QVRamDiskEntries",
               "another program keeps {} locked; the list is saved when it lets go", failure->path);
  return failure;
}

// Others were told of the action's end before its state was there.
void QVRamDiskEntries::saveStatesAtLast() {
  if (!saveStatesOf({}, 0ms)) postDidChangeToAllNotificationWithSender(kSenderHelper);
}
