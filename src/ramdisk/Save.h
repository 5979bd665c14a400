#pragma once
// One save of a volume into a generation; Save.cpp has how.

#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/QVError.h"
#include "ramdisk/Generation.h"
#include "system/TreeCopier.h"

// What a save goes by when it takes a file over. The change time tells of every change but those
// made through a mapping; while a file is mapped it is compared anyway, later nothing shows it.
enum class SaveCare {
  TrustTimes,  // the volume stays
  Compare,     // it is the last save of the volume
};

struct SaveOrder {
  std::string volume;
  Generation generation;
  SaveCare care = SaveCare::TrustTimes;
  // Begin anew, a few times, while entries are moved during the save.
  bool waitsForCalm = true;
  std::function<void(const CopyProgress&)> progress{};
};

struct SaveOutcome {
  QVErrorPtr error;  // nothing was saved: the former generation is what there was

  // Entries that are not in the new generation as they are on the volume, relative paths; the
  // former generation is there beside it then, as it is after a save that was not calm.
  std::vector<std::string> missing{};
  bool moreMissing = false;
  std::string firstReason{};  // the system's words
  bool calm = true;           // no entry was moved while it was saved
  // By the volume's clock: what changes later has a change time that is not before it. nullopt
  // where the volume cannot be written to.
  std::optional<timespec> began{};

  std::vector<std::string> kept{};  // aside, to be told: paths of what others wrote or cannot go

  bool isWhole() const { return !error && missing.empty() && !moreMissing; }
};

// Blocks; any thread, one save of a generation at a time.
SaveOutcome saveVolume(const SaveOrder& order);

// Whether anything on the volume that a save would take changed at the moment or later.
bool hasChangedSince(const std::string& volume, const timespec& moment);
