#include "settings/Draft.h"

#include <array>

#include "extensions/KeyedUnarchiver.h"
#include "settings/Change.h"

namespace settings {
namespace {

template <class Value>
std::optional<Value> ifNew(const Value& before, const Value& after) {
  return before == after ? std::nullopt : std::optional<Value>(after);
}

Change::Text ifNewText(const Change::Text& before, const Change::Text& after) {
  return ifNew(before.value_or(""), after.value_or(""));
}

void tellPlace(Change& change, const QVRamDisk& before, const QVRamDisk& after) {
  change.kind = ifNew(before.type(), after.type());
  if (after.type() == QVRamDiskType_CoreSimulator && after.simId())
    change.simulator = ifNewText(before.simId(), after.simId());
  if (after.type() != QVRamDiskType_Default) return;
  change.name = ifNewText(before.name(), after.name());
  change.directory = ifNewText(before.mountDirectory(), after.mountDirectory());
}

void tellBackup(Change& change, const QVRamDisk& before, const QVRamDisk& after) {
  change.backup = ifNew(before.backupMode(), after.backupMode());
  if (after.backupMode() == QVRamDiskBackupMode_Directory)
    change.backupDir = ifNewText(before.backupDir(), after.backupDir());
}

// What a change of kind would bring along.
void tellAllOfKind(Change& change, const QVRamDisk& after) {
  if (after.type() == QVRamDiskType_Default) {
    change.name = after.name().value_or("");
    change.directory = after.mountDirectory().value_or("");
  }
  change.size = after.size();
  change.backup = after.backupMode();
  if (after.backupMode() == QVRamDiskBackupMode_Directory) change.backupDir = after.backupDir();
}

}  // namespace

Change changeBetween(const QVRamDisk& before, const QVRamDisk& after) {
  Change change;
  tellPlace(change, before, after);
  tellBackup(change, before, after);
  change.size = ifNew(before.size(), after.size());
  change.postCommand = ifNew(postCommandOf(before), postCommandOf(after));
  change.index = ifNew(before.mdIndexMode(), after.mdIndexMode());
  change.format = ifNew(before.format(), after.format());
  change.atLogin = ifNew(before.createAtLogin(), after.createAtLogin());
  change.measure = ifNew(!before.doNotCalculateBaseSize(), !after.doNotCalculateBaseSize());
  if (change.kind || change.simulator) tellAllOfKind(change, after);
  return change;
}

QVRamDiskPtr copyOf(const QVRamDisk& disk) {
  constexpr std::array<std::string_view, 1> kClasses = {"QVRamDisk"};
  const auto archive = extensions::archivedDataWithRootObject({disk.shared_from_this()});
  const auto objects = extensions::unarchiveArray(archive, kClasses, nullptr);
  return objects && !objects->empty() ? QVRamDisk::initWithCoder(objects->front().coder) : nullptr;
}

void Draft::rebase(const QVRamDisk& saved) {
  if (changeBetween(*saved_, saved).isEmpty()) return;
  const auto before = edited_;
  const Change edits = change();
  saved_ = copyOf(saved);
  edited_ = copyOf(saved);
  assign(*edited_, edits);
  if (!edits.postCommand) return;
  edited_->setPostCmd(before->postCmd());  // as it was typed, not as it will be saved
  edited_->setPostCmdArgs(before->postCmdArgs());
}

}  // namespace settings
