#pragma once
// Putting set-aside folders back, and keeping what may be somebody's only copy under another name.
// Nothing here deletes a file of the user's. Any thread.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ramdisk/Generation.h"
#include "ramdisk/Recovery.h"

// Whether the directory holds a name that is not the system's own. A directory that cannot be
// listed counts as holding one, and so does anything but a directory.
bool holdsUserFiles(const std::string& directory);

// Moves it to a free name beside it, with a warning: "NAME rescued", then with a number.
platform::Outcome keepRescued(const std::string& path);

// Moves a directory that holds user files, and is no mount point, out of the way.
void setAsideIfUsed(const std::string& directory);

// A finding with what puts it right.
struct PlannedRecovery {
  RecoveryFinding finding;
  std::function<platform::Outcome()> perform;
};

// What to do about a generation while no volume stands for it. `place`: the directory whose
// contents it holds, where it is to be put back; nullopt for one that is restored from where it is.
// `placeIsFree`: nothing in the place counts, as with a volume that is about to go.
std::vector<PlannedRecovery> planForGeneration(const Generation& generation,
                                               const std::optional<std::string>& place,
                                               bool placeIsFree = false);
