#include "ramdisk/Save.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "ramdisk/Rescue.h"
#include "system/DiskPlaces.h"
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
//   7. carry     what no save can copy is moved over from FOLDER.previous
//   8. prove     FOLDER gets an identity: from here on it is whole and stands alone
//   9. drop      FOLDER.previous
//
// Cut off before 4 there is the former generation under one of its two names, until 6 the former
// one as the previous; then FOLDER lists what it needs from the previous one, until 8. Recovery
// tells by the mark, the list and the identity.
//
// In 5 a file that provably did not change is linked from the former generation instead of being
// copied: same size, times, mode and owner, and a change time before the last save began, which the
// volume noted then. The note counts only for the generation that it names. Every change moves the
// change time but one through a mapping, so mapped files are compared; and so is everything in the
// last save before the volume goes, when nothing would show the mistake any more (SaveCare).
//
// A walk misses a file that is moved from a folder not yet read into one that was. Whether names
// came or went meanwhile the folders tell; then 5 is done anew, a few times, and at last the former
// generation stays.
//
// Entries that cannot be copied keep the former generation in place: what can be saved is, and the
// two together have everything (Generation.h).
//
// Not everything in the former generation came from the volume:
//
// - what no volume can hold or its owner cannot read (a socket, a file of root's) was noted as
//   lacking when the volume was filled. It is linked or copied like all that is taken over, and
//   where that is not permitted, moved: the folders are hers.
// - names that the system keeps at the top of folders are never copied. They are moved.
// - a program that has had a file open, or a working directory, since before the directory was set
//   aside writes into the former generation, not into the volume. Its entries that changed since
//   they were last in our hands (noteSeen) are kept aside before the rest goes.

namespace {

using extensions::appendingPathComponent;
using extensions::deletingLastPathComponent;
using platform::Outcome;
using platform::services;
using Paths = std::vector<std::string>;
using PathLists = std::initializer_list<const Paths*>;

constexpr int kMostAgain = 3;  // fillings after the first, while entries are moved

QVErrorPtr notSaved(const char* reason, QVErrorCause cause = {},
                    QVErrorCode code = QVErrorCode::None) {
  return QVError::errorWithMessage(QVLocalized("Can not create backup"), reason, std::move(cause),
                                   code);
}

std::vector<std::string> itemsToSave(std::vector<std::string> names) {
  std::erase_if(names, QVRamDiskBackup::leavesAlone);
  std::sort(names.begin(), names.end());
  return names;
}

bool isThereAt(const std::string& folder, const std::string& path) {
  struct stat facts {};
  return lstat(appendingPathComponent(folder, path).c_str(), &facts) == 0;
}

// How an earlier copy may be used whatever became of the volume since: for what cannot be read.
EarlierCopy forFailures(const std::string& folder, const RefillNote& refill) {
  EarlierCopy earlier;
  earlier.folder = folder;
  earlier.lacking = refill.lacking;
  earlier.lacksUnlisted = refill.state == RefillNote::State::LacksUnlisted;
  return earlier;
}

// The names in it came or went, which the folder's own change time does not tell as our notes move
// it on too.
bool isModifiedSince(const std::string& folder, const timespec& moment) {
  std::error_code unknown;
  const auto time = std::filesystem::last_write_time(folder, unknown);
  if (unknown) return true;
  const auto since = std::chrono::seconds(moment.tv_sec) + std::chrono::nanoseconds(moment.tv_nsec);
  return std::chrono::file_clock::to_sys(time).time_since_epoch() >= since;
}

// One save. Use once.
class SaveRun {
 public:
  explicit SaveRun(const SaveOrder& order)
      : order_(order),
        volume_(order.volume),
        generation_(order.generation),
        refill_(refillNote(volume_)) {}

  SaveOutcome run();

 private:
  QVErrorPtr start();
  QVErrorPtr dropUnfinished();
  QVErrorPtr checkRoom() const;
  QVErrorPtr setFormerAside();
  QVErrorPtr beginGeneration();
  void chooseEarlier();
  QVErrorPtr fill();
  QVErrorPtr fillOnce();
  bool isCalm() const;
  CopyOutcome copy();
  void logFailures() const;
  QVErrorPtr giveUpFull();
  std::vector<std::string> namesLeftAlone() const;
  void sortFailures();
  bool isCarried(const std::string& path) const;
  QVErrorPtr complete();
  QVErrorPtr publish();
  void carry();
  void keepForeignChanges();
  void prove();
  void leaveBeside();
  void drop(const std::string& folder);
  bool standsAlone() const { return outcome_.isWhole() && outcome_.calm; }

  const SaveOrder& order_;
  const std::string& volume_;
  const Generation& generation_;
  const RefillNote refill_;

  std::vector<std::string> names_;      // of the volume's items
  std::optional<EarlierCopy> earlier_;  // the former generation
  std::optional<SaveNote> last_;        // of the save that made the former one
  std::optional<SaveNote> note_;        // of this save
  bool setAside_ = false;               // by this run
  bool partialAside_ = false;
  CopyOutcome copied_;
  std::vector<std::string> carried_;  // to be moved over from the former one
  SaveOutcome outcome_;
};

SaveOutcome SaveRun::run() {
  outcome_.error = start();
  if (!outcome_.error) outcome_.error = fill();
  if (!outcome_.error) outcome_.error = complete();
  if (note_) outcome_.began = note_->began;
  return std::move(outcome_);
}

QVErrorPtr SaveRun::start() {
  if (refill_.state == RefillNote::State::UnderWay)
    return notSaved("refillUnderWay", {}, QVErrorCode::RefillUnfinished);
  if (auto error = dropUnfinished()) return error;
  if (auto error = checkRoom()) return error;
  if (auto error = setFormerAside()) return error;
  chooseEarlier();
  return beginGeneration();
}

// What a save that was cut off left; all of it is on the volume still.
QVErrorPtr SaveRun::dropUnfinished() {
  if (!generation_.isMarked()) return nullptr;
  if (generation_.exists())
    if (const auto done = removeItemAtPath(generation_.folder()); !done)
      return notSaved("removeItemAtPath:", done.error());
  if (generation_.hasPartial())
    if (const auto done = services().files->move(generation_.partial(), generation_.folder());
        !done)
      return notSaved("moveItemAtPath:", done.error());
  if (const auto done = generation_.unmark(); !done)
    return notSaved("removeItemAtPath:", done.error());
  return nullptr;
}

// A save that will not fit fails before anything is touched. What cannot be told is let through,
// and what is taken over is counted only where all of it would not fit.
QVErrorPtr SaveRun::checkRoom() const {
  const auto source = services().volumes->attributes(volume_);
  const auto target =
      services().volumes->attributes(deletingLastPathComponent(generation_.folder()));
  if (!source || !target || source->size - source->free <= target->free) return nullptr;
  const auto names = services().files->names(volume_);
  if (!names) return nullptr;
  EarlierCopy earlier = forFailures(generation_.folder(), {});
  const auto note = saveNote(volume_);
  if (note && generationIdentity(earlier.folder) == note->generation)
    earlier.unchangedBefore = note->began;
  const auto needed = bytesToCopy(itemsToSave(*names), volume_, earlier);
  if (needed && *needed <= target->free) return nullptr;
  return notSaved(
      "volFree",
      platform::SystemError{
          "POSIX", ENOSPC,
          fmt::format("{}: {} bytes are needed and {} are free", generation_.folder(),
                      needed.value().value_or(source->size - source->free), target->free)});
}

// A previous generation without a newer one is all there is, and stays; so does one beside a newer
// one with gaps, which is set aside under a name of its own.
QVErrorPtr SaveRun::setFormerAside() {
  if (!generation_.exists()) return nullptr;
  const bool hasGaps = generation_.hasGaps();
  const std::string& aside = hasGaps ? generation_.partial() : generation_.previous();
  if (hasGaps ? generation_.hasPartial() : generation_.hasPrevious()) drop(aside);
  if (const auto done = services().files->move(generation_.folder(), aside); !done)
    return notSaved("moveItemAtPath:", done.error());
  (hasGaps ? partialAside_ : setAside_) = true;
  return nullptr;
}

// Nobody else looks in, and the owner may fill it, whatever the volume's own rights are.
QVErrorPtr SaveRun::beginGeneration() {
  auto& files = *services().files;
  auto begun = files.createDirectories(deletingLastPathComponent(generation_.folder()));
  if (begun) begun = generation_.mark();
  if (begun) begun = files.createDirectories(generation_.folder());
  if (!begun) return notSaved("createDirectoryAtPath:", begun.error());
  std::error_code refused;  // shows when the first item is made
  std::filesystem::permissions(generation_.folder(), std::filesystem::perms::owner_all, refused);
  return nullptr;
}

// The former note must be read before the new one takes its place.
void SaveRun::chooseEarlier() {
  last_ = saveNote(volume_);
  note_ = noteSaveBegun(volume_);
  if (!generation_.hasPrevious()) return;
  earlier_ = forFailures(generation_.previous(), refill_);
  if (last_ && generationIdentity(generation_.previous()) != last_->generation) last_.reset();
  if (!last_) return;
  earlier_->unchangedBefore = order_.care == SaveCare::Compare ? timespec{} : last_->began;
  for (const auto inode : services().volumes->use(volume_).mappedInodes)
    earlier_->doubted.push_back(static_cast<ino_t>(inode));
}

QVErrorPtr SaveRun::fill() {
  for (int again = 0;; ++again) {
    if (auto error = fillOnce()) return error;
    outcome_.calm = isCalm();
    if (outcome_.calm || !order_.waitsForCalm || again == kMostAgain) return nullptr;
    const auto made = services().files->names(generation_.folder());
    if (!made || !removeItems(*made, generation_.folder()).complete()) return nullptr;
    note_ = noteSaveBegun(volume_);
  }
}

QVErrorPtr SaveRun::fillOnce() {
  const auto names = services().files->names(volume_);
  if (!names) return notSaved("contentsOfDirectoryAtPath:", names.error());
  names_ = itemsToSave(*names);
  copied_ = copy();
  sortFailures();
  logFailures();
  return copied_.destinationFull ? giveUpFull() : nullptr;
}

// A volume that nobody can write to is calm.
bool SaveRun::isCalm() const {
  if (!note_) return true;
  const auto names = services().files->names(volume_);
  return names && itemsToSave(*names) == names_ && !isModifiedSince(volume_, note_->began) &&
         !anyMovedSince(names_, volume_, note_->began);
}

CopyOutcome SaveRun::copy() {
  CopyOptions options;
  options.progress = order_.progress;
  options.earlier = earlier_;
  return copyItems(names_, volume_, generation_.folder(), options);
}

// A failure counts unless it is about something that only the former generation has ever had. A
// socket or a device of the volume's own is nothing that could be kept.
void SaveRun::sortFailures() {
  outcome_.missing.clear();
  carried_ = namesLeftAlone();
  for (const Paths* paths :
       PathLists{&copied_.failedPaths, &copied_.skippedPaths, &refill_.lacking})
    for (const auto& path : *paths)
      if (isCarried(path)) carried_.push_back(path);
  for (const Paths* paths : PathLists{&copied_.failedPaths, &copied_.partlyCopied})
    for (const auto& path : *paths)
      if (!isCarried(path)) outcome_.missing.push_back(path);
  outcome_.moreMissing = copied_.failedPathsCut;
  if (copied_.firstError) outcome_.firstReason = copied_.firstError->text;
}

bool SaveRun::isCarried(const std::string& path) const {
  return earlier_ && !isThereAt(volume_, path) && isThereAt(generation_.previous(), path) &&
         !isThereAt(generation_.folder(), path) &&
         isThereAt(volume_, deletingLastPathComponent(path));
}

// Of the former generation; the volume's own of these names belong to the volume.
std::vector<std::string> SaveRun::namesLeftAlone() const {
  const auto names = services().files->names(generation_.previous());
  auto left = names.value().value_or(std::vector<std::string>());
  std::erase_if(left, [](const std::string& name) { return !QVRamDiskBackup::leavesAlone(name); });
  return left;
}

void SaveRun::logFailures() const {
  for (const auto& [name, error] : copied_.failedItems)
    QVLogError("QVRamDiskBackup", "copyItemAtPath==NO filePath:{} fileBckPath:{} error:{}",
               appendingPathComponent(volume_, name),
               appendingPathComponent(generation_.folder(), name), QVDescription(error));
}

QVErrorPtr SaveRun::giveUpFull() {
  auto undone = removeItemAtPath(generation_.folder());
  if (undone && partialAside_)
    undone = services().files->move(generation_.partial(), generation_.folder());
  if (undone && setAside_)
    undone = services().files->move(generation_.previous(), generation_.folder());
  if (undone) undone = generation_.unmark();
  if (!undone)
    QVLogWarning("QVRamDiskBackup", "what was begun at {} stays marked: {}", generation_.folder(),
                 QVDescription(undone.error()));
  return notSaved("volFree", copied_.firstError.value_or(
                                 platform::SystemError{"POSIX", ENOSPC, generation_.folder()}));
}

QVErrorPtr SaveRun::complete() {
  QVRamDiskBackup::takeOnAttributes(volume_, generation_.folder());
  if (auto error = publish()) return error;
  if (standsAlone()) carry();
  if (standsAlone()) keepForeignChanges();
  standsAlone() ? prove() : leaveBeside();
  return nullptr;
}

// From here on FOLDER is the generation, with what it lists taken from the previous one.
QVErrorPtr SaveRun::publish() {
  GapNote gaps;
  if (!standsAlone()) {
    gaps = {GapNote::State::Lacks, outcome_.missing};
    gaps.paths.insert(gaps.paths.end(), carried_.begin(), carried_.end());
  } else if (!carried_.empty()) {
    gaps = {GapNote::State::Moving, carried_};
  }
  if (gaps.state != GapNote::State::None) noteGaps(generation_.folder(), gaps);
  auto kept = services().files->flush(generation_.folder());
  if (kept) kept = generation_.unmark();
  return kept ? nullptr : notSaved("flush", kept.error());
}

void SaveRun::carry() {
  if (carried_.empty()) return;
  auto lacking = carryOver(carried_, generation_.previous(), generation_.folder());
  QVRamDiskBackup::takeOnAttributes(volume_, generation_.folder());
  if (lacking.empty()) {
    noteGaps(generation_.folder(), {});
    services().files->flush(generation_.folder());
    return;
  }
  outcome_.missing = std::move(lacking);
  noteGaps(generation_.folder(), {GapNote::State::Lacks, outcome_.missing});
}

void SaveRun::keepForeignChanges() {
  auto seen = lastSeen(generation_.previous());
  if (!seen) seen = lastSeen(volume_);
  const auto names = services().files->names(generation_.previous());
  if (!seen || !names) return;
  const auto changes =
      changedSince(itemsToSave(*names), generation_.previous(), generation_.folder(), *seen);
  if (changes.paths.empty()) return;
  const auto kept = keepEntriesRescued(changes.paths, generation_.previous(), generation_.folder());
  if (kept) outcome_.kept.push_back(*kept);
  if (!kept || changes.more) outcome_.moreMissing = true;
}

// What is taken over by a second name changes the file's inode, and so does taking the first one
// away: only after that the moment is noted.
void SaveRun::prove() {
  const std::string& folder = generation_.folder();
  const auto identity = giveNewIdentity(folder);
  if (note_ && identity) {
    note_->generation = *identity;
    noteSaveEnded(volume_, *note_);
  }
  if (generation_.hasPartial()) drop(generation_.partial());
  if (generation_.hasPrevious()) drop(generation_.previous());
  noteSeenNow(folder);
  noteSeen(volume_, std::nullopt);
}

// The previous one stays, and the next save takes over from it again. What an older one with gaps
// has beyond both is moved into the new one before it goes.
void SaveRun::leaveBeside() {
  if (last_) noteSaveEnded(volume_, *last_);
  if (!generation_.hasPartial()) return;
  if (carryOver(outcome_.missing, generation_.partial(), generation_.folder()).empty())
    drop(generation_.partial());
}

void SaveRun::drop(const std::string& folder) {
  if (const auto rest = dropFormer(folder)) outcome_.kept.push_back(*rest);
}

}  // namespace

SaveOutcome saveVolume(const SaveOrder& order) { return SaveRun(order).run(); }

// A removed item leaves no trace but in the volume's own time.
bool hasChangedSince(const std::string& volume, const timespec& moment) {
  const auto names = services().files->names(volume);
  if (!names || isModifiedSince(volume, moment)) return true;
  return anyChangedSince(itemsToSave(*names), volume, moment);
}
