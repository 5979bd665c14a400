#include "ramdisk/Rescue.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "system/DiskPlaces.h"
#include "system/TreeRemover.h"

namespace {

using extensions::appendingPathComponent;
using extensions::deletingLastPathComponent;
using platform::Outcome;
using platform::services;
using Kept = std::vector<std::string>;  // paths to tell

std::string freeRescueName(const std::string& path) {
  int number = 1;
  while (services().files->exists(disk_places::rescued(path, number))) ++number;
  return disk_places::rescued(path, number);
}

platform::Result<std::string> moveToFreeName(const std::string& path, const std::string& named) {
  const std::string rescued = freeRescueName(named);
  if (const auto done = services().files->move(path, rescued); !done) {
    QVLogError("QVRamDisk", "{} holds files and could not be moved to {}: {}", path, rescued,
               QVDescription(done.error()));
    return done.error();
  }
  QVLogWarning("QVRamDisk", "{} holds files of yours; they are kept as {}", path, rescued);
  return rescued;
}

bool isAnythingAt(const std::string& path) {
  struct stat facts {};
  return lstat(path.c_str(), &facts) == 0;
}

// The empty directory that stood in the place while a volume covered it.
Outcome clearPlace(const std::string& place, Kept& kept) {
  if (services().files->removeEmpty(place)) return {};
  auto rescued = keepRescued(place);
  if (!rescued) return rescued.error();
  kept.push_back(*rescued);
  return {};
}

// What was in the place comes to lie under the folder's name by the exchange.
Outcome exchangeInto(const std::string& folder, const std::string& place, Kept& kept) {
  if (auto done = services().files->exchange(folder, place); !done) return done;
  if (services().files->removeEmpty(folder)) return {};
  const auto rescued = moveToFreeName(folder, place);
  kept.push_back(rescued ? *rescued : folder);
  return {};
}

Outcome putBack(const Generation& generation, const std::string& saved, const std::string& place,
                Kept& kept) {
  if (saved == generation.folder()) closeGaps(generation, kept);
  if (auto done = putInPlace(saved, place, kept); !done) {
    QVLogError("QVRamDisk", "moveItemAtPath==NO mountPoint:{} error:{}", place,
               QVDescription(done.error()));
    return done;
  }
  takeNotes(place);
  QVLogWarning("QVRamDisk", "{} was still set aside as {} and is back", place, saved);
  return {};
}

PlannedRecovery planPutBack(const Generation& generation, const std::string& saved,
                            const std::string& place) {
  return {{RecoveryStep::PutBack, saved,
           fmt::format("{} is still set aside as {} and goes back", place, saved)},
          [=](Kept& kept) { return putBack(generation, saved, place, kept); }};
}

PlannedRecovery planKeepRescued(const std::string& path, const std::string& why) {
  return {{RecoveryStep::KeepRescued, path,
           fmt::format("{} {}; it is kept as {}", path, why, freeRescueName(path))},
          [=](Kept&) -> Outcome {
            const auto rescued = keepRescued(path);
            return rescued ? Outcome() : Outcome(rescued.error());
          }};
}

// The part that a cut-off save left. What it holds may exist nowhere else by now, but for what it
// took over: that must not be one file with the generation that goes on living.
PlannedRecovery planKeepPart(const Generation& generation) {
  auto plan = planKeepRescued(generation.folder(), "was being saved when that was cut off");
  plan.perform = [generation](Kept&) -> Outcome {
    removeShared(generation.folder(), generation.previous());
    if (!holdsUserFiles(generation.folder())) return {};
    const auto rescued = keepRescued(generation.folder());
    return rescued ? Outcome() : Outcome(rescued.error());
  };
  return plan;
}

void planForUnfinished(const Generation& generation, std::vector<PlannedRecovery>& plan) {
  const std::string& folder = generation.folder();
  if (generation.exists() && holdsUserFiles(folder)) plan.push_back(planKeepPart(generation));
  plan.push_back(
      {{RecoveryStep::DropUnfinished, folder,
        fmt::format("the save into {} was cut off; its mark goes", folder)},
       [generation](Kept&) {
         if (generation.exists())
           if (auto done = removeItemAtPath(generation.folder()); !done) return done;
         if (generation.hasPartial())
           if (auto done = services().files->move(generation.partial(), generation.folder()); !done)
             return done;
         return generation.unmark();
       }});
}

// Only a save without gaps gives its generation an identity, and it drops the others as its last
// step. What only was still to be moved over from the former one is moved over.
void planForFormer(const Generation& generation, std::vector<PlannedRecovery>& plan) {
  const std::string& former = generation.previous();
  if (generation.whole() != generation.folder() || !generation.hasPrevious()) return;
  if (gapNote(generation.folder()).state == GapNote::State::Moving) {
    plan.push_back({{RecoveryStep::DropUnfinished, former,
                     fmt::format("{} was saved whole but for what {} goes on to hold; it is moved "
                                 "over",
                                 generation.folder(), former)},
                    [generation](Kept& kept) -> Outcome {
                      closeGaps(generation, kept);
                      return {};
                    }});
  } else if (generationIdentity(generation.folder())) {
    plan.push_back({{RecoveryStep::DropUnfinished, former,
                     fmt::format("{} was saved whole, so {} goes", generation.folder(), former)},
                    [former](Kept& kept) -> Outcome {
                      if (const auto rest = dropFormer(former)) kept.push_back(*rest);
                      return {};
                    }});
  }
}

// All that an unfinished save had set aside beside it is in the newer ones, or on in the former.
void planForPartial(const Generation& generation, std::vector<PlannedRecovery>& plan) {
  if (!generation.hasPartial() || generation.isMarked()) return;
  const std::string& partial = generation.partial();
  if (generation.exists())
    return plan.push_back(
        {{RecoveryStep::DropUnfinished, partial,
          fmt::format("{} was saved since, so {} goes", generation.folder(), partial)},
         [partial](Kept& kept) -> Outcome {
           if (const auto rest = dropFormer(partial)) kept.push_back(*rest);
           return {};
         }});
  plan.push_back({{RecoveryStep::DropUnfinished, partial,
                   fmt::format("the save into {} was cut off; {} takes its name again",
                               generation.folder(), partial)},
                  [generation](Kept&) {
                    return services().files->move(generation.partial(), generation.folder());
                  }});
}

// The one that stands once what was cut off is put right.
std::optional<std::string> standing(const Generation& generation) {
  const bool partialReturns =
      generation.hasPartial() && (generation.isMarked() || !generation.exists());
  return partialReturns ? std::optional(generation.folder()) : generation.whole();
}

void planForPlace(const Generation& generation, const std::string& place, bool placeIsFree,
                  std::vector<PlannedRecovery>& plan) {
  const auto whole = standing(generation);
  if (!whole) return;
  if (placeIsFree || !services().files->exists(place) || !holdsUserFiles(place))
    return plan.push_back(planPutBack(generation, *whole, place));
  if (holdsUserFiles(*whole))
    return plan.push_back(planKeepRescued(*whole, "holds files, and so does " + place));
  plan.push_back({{RecoveryStep::DropUnfinished, *whole,
                   fmt::format("{} is in its place, so the empty {} goes", place, *whole)},
                  [empty = *whole](Kept&) -> Outcome {
                    services().files->removeEmpty(empty);  // one that holds anything stays
                    return {};
                  }});
}

}  // namespace

bool holdsUserFiles(const std::string& directory) {
  const auto names = services().files->names(directory);
  if (!names) return true;
  return std::any_of(names->begin(), names->end(), [](const std::string& name) {
    return !QVRamDiskBackup::leavesAlone(name) && name != ".DS_Store";
  });
}

platform::Result<std::string> keepRescued(const std::string& path) {
  return moveToFreeName(path, path);
}

Outcome putInPlace(const std::string& folder, const std::string& place, Kept& kept) {
  if (!isAnythingAt(place)) return services().files->move(folder, place);
  auto exchanged = exchangeInto(folder, place, kept);
  if (exchanged || exchanged.error().code != ENOTSUP) return exchanged;
  if (auto done = clearPlace(place, kept); !done) return done;
  return services().files->move(folder, place);
}

std::optional<std::string> dropFormer(const std::string& folder) {
  const auto done = removeItemAtPath(folder);
  if (done || !isAnythingAt(folder)) return std::nullopt;
  QVLogError("QVRamDiskBackup", "removeItemAtPath==NO backupPathOld:{} error:{}", folder,
             QVDescription(done.error()));
  const auto rescued = keepRescued(folder);
  return rescued ? *rescued : folder;
}

std::vector<std::string> carryOver(const std::vector<std::string>& paths, const std::string& from,
                                   const std::string& to) {
  std::vector<std::string> lacking;
  for (const std::string& path : paths) {
    const std::string source = appendingPathComponent(from, path);
    const std::string target = appendingPathComponent(to, path);
    if (isAnythingAt(target) || !isAnythingAt(source)) continue;
    if (const auto done = services().files->move(source, target); !done) {
      QVLogError("QVRamDiskBackup", "{} could not be moved to {}: {}", source, target,
                 QVDescription(done.error()));
      lacking.push_back(path);
    }
  }
  return lacking;
}

// Folders on the way keep their names and nothing else.
std::optional<std::string> keepEntriesRescued(const std::vector<std::string>& paths,
                                              const std::string& from, const std::string& beside) {
  const std::string rescued = freeRescueName(beside);
  for (const std::string& path : paths) {
    const std::string target = appendingPathComponent(rescued, path);
    auto done = services().files->createDirectories(deletingLastPathComponent(target));
    if (done) done = services().files->move(appendingPathComponent(from, path), target);
    if (!done) {
      QVLogError("QVRamDisk", "{} of {} could not be kept as {}: {}", path, from, target,
                 QVDescription(done.error()));
      return std::nullopt;
    }
  }
  QVLogWarning("QVRamDisk", "{} entries that were changed in {} are kept in {}", paths.size(), from,
               rescued);
  return rescued;
}

RescuedCopies copyRescued(const std::vector<std::string>& paths, const std::string& volume,
                          const std::string& place) {
  RescuedCopies kept;
  const std::string rescued = freeRescueName(place);
  for (const std::string& path : paths) {
    const std::string target = appendingPathComponent(rescued, path);
    const auto made = services().files->createDirectories(deletingLastPathComponent(target));
    const bool copied =
        made && copyItemAtPath(appendingPathComponent(volume, path), target).failedPaths.empty();
    if (copied)
      kept.folder = rescued;
    else
      kept.lost.push_back(path);
  }
  if (!kept.folder) removeItemAtPath(rescued);
  return kept;
}

void closeGaps(const Generation& generation, Kept& kept) {
  if (!generation.hasPrevious()) return;
  const GapNote gaps = gapNote(generation.folder());
  const bool onlyMoving = gaps.state == GapNote::State::Moving;
  const bool closed = carryOver(gaps.paths, generation.previous(), generation.folder()).empty();
  noteGaps(generation.folder(), {});
  removeShared(generation.previous(), generation.folder());
  if (onlyMoving && closed) {
    if (const auto rest = dropFormer(generation.previous())) kept.push_back(*rest);
  } else if (const auto rescued = keepRescued(generation.previous())) {
    kept.push_back(*rescued);
  }
}

// The mark goes before the former generation takes a name, so that a whole one is never marked.
std::vector<PlannedRecovery> planForGeneration(const Generation& generation,
                                               const std::optional<std::string>& place,
                                               bool placeIsFree) {
  std::vector<PlannedRecovery> plan;
  if (generation.isMarked()) planForUnfinished(generation, plan);
  planForPartial(generation, plan);
  planForFormer(generation, plan);
  if (place) planForPlace(generation, *place, placeIsFree, plan);
  if (!place && standing(generation) == generation.previous())
    plan.push_back(planPutBack(generation, generation.previous(), generation.folder()));
  return plan;
}
