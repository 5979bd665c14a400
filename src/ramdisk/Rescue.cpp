#include "ramdisk/Rescue.h"

#include <algorithm>

#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "system/DiskPlaces.h"
#include "system/TreeRemover.h"

namespace {

using platform::Outcome;
using platform::services;

std::string freeRescueName(const std::string& path) {
  int number = 1;
  while (services().files->exists(disk_places::rescued(path, number))) ++number;
  return disk_places::rescued(path, number);
}

Outcome putBack(const std::string& saved, const std::string& place) {
  if (services().files->exists(place))
    if (const auto done = services().files->remove(place); !done) {
      QVLogError("QVRamDisk", "removeItemAtPath==NO mountPoint:{} error:{}", place,
                 QVDescription(done.error()));
      return done;
    }
  if (const auto done = services().files->move(saved, place); !done) {
    QVLogError("QVRamDisk", "moveItemAtPath==NO mountPoint:{} error:{}", place,
               QVDescription(done.error()));
    return done;
  }
  takeIdentity(place);
  QVLogWarning("QVRamDisk", "{} was still set aside as {} and is back", place, saved);
  return {};
}

PlannedRecovery planPutBack(const std::string& saved, const std::string& place) {
  return {{RecoveryStep::PutBack, saved,
           fmt::format("{} is still set aside as {} and goes back", place, saved)},
          [=] { return putBack(saved, place); }};
}

PlannedRecovery planKeepRescued(const std::string& path, const std::string& why) {
  return {{RecoveryStep::KeepRescued, path,
           fmt::format("{} {}; it is kept as {}", path, why, freeRescueName(path))},
          [=] { return keepRescued(path); }};
}

// The part that a cut-off save left. What it holds may exist nowhere else by now, but for what it
// took over: that must not be one file with the generation that goes on living.
PlannedRecovery planKeepPart(const Generation& generation) {
  auto plan = planKeepRescued(generation.folder(), "was being saved when that was cut off");
  plan.perform = [generation]() -> Outcome {
    removeShared(generation.folder(), generation.previous());
    return holdsUserFiles(generation.folder()) ? keepRescued(generation.folder()) : Outcome();
  };
  return plan;
}

void planForUnfinished(const Generation& generation, std::vector<PlannedRecovery>& plan) {
  const std::string& folder = generation.folder();
  if (generation.exists() && holdsUserFiles(folder)) plan.push_back(planKeepPart(generation));
  plan.push_back({{RecoveryStep::DropUnfinished, folder,
                   fmt::format("the save into {} was cut off; its mark goes", folder)},
                  [generation] {
                    if (generation.exists())
                      if (const auto done = removeItemAtPath(generation.folder()); !done)
                        return done;
                    return generation.unmark();
                  }});
}

// Only a complete save gives its generation an identity, and it drops the former one as its last
// step.
void planForFormer(const Generation& generation, std::vector<PlannedRecovery>& plan) {
  const std::string& former = generation.previous();
  if (generation.whole() != generation.folder() || !generation.hasPrevious() ||
      !generationIdentity(generation.folder()))
    return;
  plan.push_back({{RecoveryStep::DropUnfinished, former,
                   fmt::format("{} was saved whole, so {} goes", generation.folder(), former)},
                  [former] { return removeItemAtPath(former); }});
}

void planForPlace(const Generation& generation, const std::string& place, bool placeIsFree,
                  std::vector<PlannedRecovery>& plan) {
  const auto whole = generation.whole();
  if (!whole) return;
  if (placeIsFree || !services().files->exists(place) || !holdsUserFiles(place))
    return plan.push_back(planPutBack(*whole, place));
  // An incomplete save leaves a previous generation beside a directory that is in its place.
  const bool isLeftover = *whole == generation.previous() && !generation.isMarked();
  if (!isLeftover && holdsUserFiles(*whole))
    plan.push_back(planKeepRescued(*whole, "holds files, and so does " + place));
}

}  // namespace

bool holdsUserFiles(const std::string& directory) {
  const auto names = services().files->names(directory);
  if (!names) return true;
  return std::any_of(names->begin(), names->end(), [](const std::string& name) {
    return !QVRamDiskBackup::leavesAlone(name) && name != ".DS_Store";
  });
}

Outcome keepRescued(const std::string& path) {
  const std::string rescued = freeRescueName(path);
  if (const auto done = services().files->move(path, rescued); !done) {
    QVLogError("QVRamDisk", "{} holds files and could not be moved to {}: {}", path, rescued,
               QVDescription(done.error()));
    return done;
  }
  QVLogWarning("QVRamDisk", "{} holds files of yours; they are kept as {}", path, rescued);
  return {};
}

void setAsideIfUsed(const std::string& directory) {
  if (QVRamDiskDevice::hasMountedVolumeAtPath(directory) != 0) return;
  if (holdsUserFiles(directory)) keepRescued(directory);
}

// The mark goes before the former generation takes a name, so that a whole one is never marked.
std::vector<PlannedRecovery> planForGeneration(const Generation& generation,
                                               const std::optional<std::string>& place,
                                               bool placeIsFree) {
  std::vector<PlannedRecovery> plan;
  if (generation.isMarked()) planForUnfinished(generation, plan);
  planForFormer(generation, plan);
  if (place) planForPlace(generation, *place, placeIsFree, plan);
  if (!place && generation.whole() == generation.previous())
    plan.push_back(planPutBack(generation.previous(), generation.folder()));
  return plan;
}
