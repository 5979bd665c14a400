#include "ramdisk/SaveRun.h"

#include <cerrno>
#include <filesystem>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/TreeRemover.h"

namespace {

using extensions::appendingPathComponent;
using platform::services;

QVErrorPtr failure(const char* reason, QVErrorCause cause = {},
                   QVErrorCode code = QVErrorCode::None) {
  return QVError::errorWithMessage(QVLocalized("Can not create backup"), reason, std::move(cause),
                                   code);
}

std::vector<std::string> itemsOf(const std::vector<std::string>& names) {
  std::vector<std::string> items;
  for (const std::string& name : names)
    if (!QVRamDiskBackup::leavesAlone(name)) items.push_back(name);
  return items;
}

// How an earlier copy may be used whatever became of the volume since: for what cannot be read.
EarlierCopy forFailures(const std::string& folder, const RefillNote& refill) {
  EarlierCopy earlier;
  earlier.folder = folder;
  earlier.lacking = refill.lacking;
  earlier.lacksUnlisted = refill.state == RefillNote::State::LacksUnlisted;
  return earlier;
}

}  // namespace

QVErrorPtr SaveRun::run() {
  if (isRefillUnderWay(volume_))
    return failure("refillUnderWay", {}, QVErrorCode::RefillUnfinished);
  if (auto error = dropUnfinished()) return error;
  if (auto error = checkRoom()) return error;
  if (auto error = setFormerAside()) return error;
  if (auto error = beginGeneration()) return error;
  return fill();
}

// What a save that was cut off left; all of it is on the volume still.
QVErrorPtr SaveRun::dropUnfinished() {
  if (!generation_.isMarked()) return nullptr;
  if (generation_.exists())
    if (const auto done = removeItemAtPath(generation_.folder()); !done)
      return failure("removeItemAtPath:", done.error());
  if (const auto done = generation_.unmark(); !done)
    return failure("removeItemAtPath:", done.error());
  return nullptr;
}

// A save that will not fit fails before anything is touched. What cannot be told is let through,
// and what is taken over is counted only where all of it would not fit.
QVErrorPtr SaveRun::checkRoom() const {
  const auto source = services().volumes->attributes(volume_);
  const auto target =
      services().volumes->attributes(extensions::deletingLastPathComponent(generation_.folder()));
  if (!source || !target || source->size - source->free <= target->free) return nullptr;
  const auto names = services().files->names(volume_);
  if (!names) return nullptr;
  EarlierCopy earlier = forFailures(generation_.folder(), {});
  const auto note = saveNote(volume_);
  if (note && generationIdentity(earlier.folder) == note->generation)
    earlier.unchangedBefore = note->began;
  const auto needed = bytesToCopy(itemsOf(*names), volume_, earlier);
  if (needed && *needed <= target->free) return nullptr;
  return failure(
      "volFree",
      platform::SystemError{
          "POSIX", ENOSPC,
          fmt::format("{}: {} bytes are needed and {} are free", generation_.folder(),
                      needed.value().value_or(source->size - source->free), target->free)});
}

// A previous generation without a newer one is all there is, and stays.
QVErrorPtr SaveRun::setFormerAside() {
  if (!generation_.exists()) return nullptr;
  if (generation_.hasPrevious())
    if (const auto done = removeItemAtPath(generation_.previous()); !done)
      return failure("removeItemAtPath:", done.error());
  if (const auto done = services().files->move(generation_.folder(), generation_.previous()); !done)
    return failure("moveItemAtPath:", done.error());
  setAside_ = true;
  return nullptr;
}

// Nobody else looks in, and the owner may fill it, whatever the volume's own rights are.
QVErrorPtr SaveRun::beginGeneration() {
  auto& files = *services().files;
  const std::string above = extensions::deletingLastPathComponent(generation_.folder());
  auto begun = files.createDirectories(above);
  if (begun) begun = generation_.mark();
  if (begun) begun = files.createDirectories(generation_.folder());
  if (!begun) return failure("createDirectoryAtPath:", begun.error());
  std::error_code refused;  // shows when the first item is made
  std::filesystem::permissions(generation_.folder(), std::filesystem::perms::owner_all, refused);
  return nullptr;
}

QVErrorPtr SaveRun::fill() {
  chooseEarlier();
  const auto names = services().files->names(volume_);
  if (!names) return failure("contentsOfDirectoryAtPath:", names.error());
  names_ = itemsOf(*names);
  CopyOutcome outcome = copy();
  if (!outcome.complete() && outcome.sharedInodes > 0) copyAnewUnshared(outcome);
  logFailures(outcome);
  if (outcome.destinationFull) return giveUpFull(outcome);
  return complete(outcome.complete());
}

// The former note must be read before the new one takes its place.
void SaveRun::chooseEarlier() {
  const auto last = saveNote(volume_);
  note_ = noteSaveBegun(volume_);
  if (!generation_.hasPrevious()) return;
  earlier_ = forFailures(generation_.previous(), refillNote(volume_));
  if (!last || generationIdentity(generation_.previous()) != last->generation) return;
  earlier_->unchangedBefore = care_ == SaveCare::Compare ? timespec{} : last->began;
  for (const auto inode : services().volumes->use(volume_).mappedInodes)
    earlier_->doubted.push_back(static_cast<ino_t>(inode));
}

CopyOutcome SaveRun::copy() {
  CopyOptions options;
  options.progress = progress_;
  options.earlier = earlier_;
  return copyItems(names_, volume_, generation_.folder(), options);
}

// Both generations stay after an incomplete run, and then no file may be in both: who changes it in
// one would change it in the other.
void SaveRun::copyAnewUnshared(CopyOutcome& outcome) {
  const auto made = services().files->names(generation_.folder());
  if (!made || !removeItems(*made, generation_.folder()).complete()) return;
  earlier_->unchangedBefore.reset();
  outcome = copy();
}

void SaveRun::logFailures(const CopyOutcome& outcome) const {
  for (const auto& [name, error] : outcome.failedItems)
    QVLogError("QVRamDiskBackup", "copyItemAtPath==NO filePath:{} fileBckPath:{} error:{}",
               appendingPathComponent(volume_, name),
               appendingPathComponent(generation_.folder(), name), QVDescription(error));
}

QVErrorPtr SaveRun::giveUpFull(const CopyOutcome& outcome) {
  auto undone = removeItemAtPath(generation_.folder());
  if (undone && setAside_)
    undone = services().files->move(generation_.previous(), generation_.folder());
  if (undone) undone = generation_.unmark();
  if (!undone)
    QVLogWarning("QVRamDiskBackup", "what was begun at {} stays marked: {}", generation_.folder(),
                 QVDescription(undone.error()));
  return failure("volFree", outcome.firstError.value_or(
                                platform::SystemError{"POSIX", ENOSPC, generation_.folder()}));
}

QVErrorPtr SaveRun::complete(bool whole) {
  QVRamDiskBackup::takeOnAttributes(volume_, generation_.folder());
  const auto identity = whole ? giveNewIdentity(generation_.folder()) : std::nullopt;
  auto kept = services().files->flush(generation_.folder());
  if (kept) kept = generation_.unmark();
  if (!kept) return failure("flush", kept.error());
  if (!whole) return nullptr;
  if (note_ && identity) {
    note_->generation = *identity;
    noteSaveEnded(volume_, *note_);
  }
  dropFormer();
  return nullptr;
}

void SaveRun::dropFormer() {
  if (!generation_.hasPrevious()) return;
  if (const auto done = removeItemAtPath(generation_.previous()); !done)
    QVLogError("QVRamDiskBackup", "removeItemAtPath==NO backupPathOld:{} error:{}",
               generation_.previous(), QVDescription(done.error()));
}
