#include "ramdisk/QVRamDiskBackup.h"

#include <cerrno>
#include <filesystem>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/Generation.h"
#include "system/DiskPlaces.h"
#include "system/QVFinderTools.h"
#include "system/TreeRemover.h"

// A save makes a new generation beside the one there is, and drops that only when the new one is
// whole and on the device:
//
//   1. drop      what a save that was cut off left; all of it is on the volume still
//   2. measure   a save that will not fit fails here, before anything is touched
//   3. set aside FOLDER becomes FOLDER.previous, by one rename
//   4. mark      FOLDER.incomplete, flushed; from here on FOLDER is not whole
//   5. fill      FOLDER from the volume
//   6. flush     everything to the device, then take the mark away, flushed too
//   7. drop      FOLDER.previous
//
// Cut off before 4 there is the former generation under one of its two names, until 6 the former
// one as the previous, after it the new one; Recovery tells by the mark.
//
// In 5 a file that provably did not change is linked from the former generation instead of being
// copied: same size, times, mode and owner, and a change time before the last save began, which the
// volume noted then. The note counts only for the generation that it names. Every change moves the
// change time but one through a mapping, so mapped files are compared; and so is everything in the
// last save before the volume goes, when nothing would show the mistake any more (SaveCare).
//
// Items that cannot be read keep the former generation in place, and are no error: what can be
// saved is. Then both stay, and no file may be in both, as who changes it in one would change it in
// the other, so that what was linked is copied anew.

namespace {

using extensions::appendingPathComponent;
using platform::Outcome;
using platform::services;

QVErrorPtr failure(std::string_view message, const char* reason, QVErrorCause cause = {},
                   QVErrorCode code = QVErrorCode::None) {
  return QVError::errorWithMessage(QVLocalized(message), reason, std::move(cause), code);
}

QVErrorPtr notSaved(const char* reason, QVErrorCause cause = {},
                    QVErrorCode code = QVErrorCode::None) {
  return failure("Can not create backup", reason, std::move(cause), code);
}

std::vector<std::string> itemsOf(std::vector<std::string> names) {
  std::erase_if(names, QVRamDiskBackup::leavesAlone);
  return names;
}

// Of the folder's own items; what the volume had already is not lacking.
void addLacking(const CopyOutcome& outcome, QVRamDiskBackup::Lacking& lacking) {
  for (const std::string& path : outcome.failedPaths) {
    const auto item = outcome.failedItems.find(path);
    if (item == outcome.failedItems.end() || item->second.code != EEXIST)
      lacking.paths.push_back(path);
  }
  lacking.unlisted = lacking.unlisted || outcome.failedPathsCut;
}

// How an earlier copy may be used whatever became of the volume since: for what cannot be read.
EarlierCopy forFailures(const std::string& folder, const RefillNote& refill) {
  EarlierCopy earlier;
  earlier.folder = folder;
  earlier.lacking = refill.lacking;
  earlier.lacksUnlisted = refill.state == RefillNote::State::LacksUnlisted;
  return earlier;
}

// One save of a volume into a generation. What provably did not change since the last one is taken
// over from it. Until the new generation is whole and on the device, the former one stays: each
// failure, and a program that is killed, leave one of the two. Use once; blocks.
class SaveRun {
 public:
  SaveRun(std::string volume, Generation generation, const QVRamDiskBackup::Progress& progress,
          SaveCare care)
      : volume_(std::move(volume)),
        generation_(std::move(generation)),
        progress_(progress),
        care_(care) {}

  // Items that cannot be copied are logged and keep the former generation, and are no error. A
  // destination that is full is one, after which the former generation has its place back.
  QVErrorPtr run();

 private:
  QVErrorPtr dropUnfinished();
  QVErrorPtr checkRoom() const;
  QVErrorPtr setFormerAside();
  QVErrorPtr beginGeneration();
  QVErrorPtr fill();
  void chooseEarlier();
  CopyOutcome copy();
  void copyAnewUnshared(CopyOutcome& outcome);
  void logFailures(const CopyOutcome& outcome) const;
  QVErrorPtr giveUpFull(const CopyOutcome& outcome);
  QVErrorPtr complete(bool whole);
  void dropFormer();

  const std::string volume_;
  const Generation generation_;
  const QVRamDiskBackup::Progress& progress_;
  const SaveCare care_;

  std::vector<std::string> names_;      // of the volume's items
  std::optional<EarlierCopy> earlier_;  // the former generation
  std::optional<SaveNote> note_;        // of this save
  bool setAside_ = false;               // by this run
};

QVErrorPtr SaveRun::run() {
  if (isRefillUnderWay(volume_))
    return notSaved("refillUnderWay", {}, QVErrorCode::RefillUnfinished);
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
      return notSaved("removeItemAtPath:", done.error());
  if (const auto done = generation_.unmark(); !done)
    return notSaved("removeItemAtPath:", done.error());
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
  return notSaved(
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
      return notSaved("removeItemAtPath:", done.error());
  if (const auto done = services().files->move(generation_.folder(), generation_.previous()); !done)
    return notSaved("moveItemAtPath:", done.error());
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
  if (!begun) return notSaved("createDirectoryAtPath:", begun.error());
  std::error_code refused;  // shows when the first item is made
  std::filesystem::permissions(generation_.folder(), std::filesystem::perms::owner_all, refused);
  return nullptr;
}

QVErrorPtr SaveRun::fill() {
  chooseEarlier();
  const auto names = services().files->names(volume_);
  if (!names) return notSaved("contentsOfDirectoryAtPath:", names.error());
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
  return notSaved("volFree", outcome.firstError.value_or(
                                 platform::SystemError{"POSIX", ENOSPC, generation_.folder()}));
}

QVErrorPtr SaveRun::complete(bool whole) {
  QVRamDiskBackup::takeOnAttributes(volume_, generation_.folder());
  const auto identity = whole ? giveNewIdentity(generation_.folder()) : std::nullopt;
  auto kept = services().files->flush(generation_.folder());
  if (kept) kept = generation_.unmark();
  if (!kept) return notSaved("flush", kept.error());
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

}  // namespace

QVRamDiskBackup& QVRamDiskBackup::sharedInstance() {
  static QVRamDiskBackup instance;
  return instance;
}

bool QVRamDiskBackup::leavesAlone(const std::string& name) {
  return QVFinderTools::isVolumeHiddenFilename(name) ||
         QVFinderTools::isSystemFileNameInFolder(name, 1);
}

void QVRamDiskBackup::takeOnAttributes(const std::string& from, const std::string& to) {
  if (const auto done = copyDirectoryAttributes(from, to, disk_places::kOwnAttributePrefix); !done)
    QVLogWarning("QVRamDiskBackup", "the attributes of {} were not all passed on: {}", from,
                 QVDescription(done.error()));
}

QVErrorPtr QVRamDiskBackup::backupRamDiskAtPath(const Text& path, const Text& backupPath,
                                                const std::string& previousExt,
                                                const Progress& progress, SaveCare care) const {
  if (!path || !backupPath) return failure("Can not create backup", "path==nil || backupPath==nil");
  return SaveRun(*path, Generation(*backupPath, previousExt), progress, care).run();
}

QVErrorPtr QVRamDiskBackup::restoreRamDiskAtPath(const Text& path, const Text& backupDirPath,
                                                 const Progress& progress, Lacking* lacking) const {
  if (!path || !backupDirPath)
    return failure("Can not restore backup", "path==nil || backupDirPath==nil");
  const auto folder = Generation(*backupDirPath).whole();
  if (!folder) return nullptr;
  CopyOptions options;
  options.progress = progress;
  const auto names = services().files->names(*folder);
  const auto items = itemsOf(names.value().value_or(std::vector<std::string>()));
  const auto outcome = copyItems(items, *folder, *path, options);
  for (const auto& [name, error] : outcome.failedItems)
    QVLogError("QVRamDiskBackup", "copyItemAtPath==NO path:{} backupDirPath:{} error:{}", *path,
               *folder, QVDescription(error));
  if (lacking) addLacking(outcome, *lacking);
  takeOnAttributes(*folder, *path);
  return nullptr;
}
