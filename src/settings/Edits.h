#pragma once
// Edits of the registry, by whichever program. Each is one go: under the file's lock the list is
// read anew, edited and written, so that what others changed meanwhile stays; the user's other
// programs are told. What is refused, or cannot be saved, is not in the list afterwards either.
// Main thread only.

#include <cstdint>
#include <optional>
#include <string>

#include "settings/Change.h"
#include "settings/Registry.h"

namespace settings {

using Identifier = std::optional<std::string>;

// Adds a plain disk with a name of its own. `added` is its identifier.
Outcome addDisk(Registry& registry, Identifier& added);

Outcome changeDisk(Registry& registry, const Identifier& disk, const Change& change);

// Removes a disk and deletes what the program's own folder keeps of its contents. `next` is the
// disk to select then, nullopt when none is left.
Outcome removeDisk(Registry& registry, const Identifier& disk, Identifier& next);

// `gap` as of QVRamDiskEntries::setPositionIndex, in the list that the registry holds: 0 before the
// first disk, count after the last. What lies there is what counts, should others move it.
Outcome moveDisk(Registry& registry, const Identifier& disk, std::int64_t gap);

// The folder of the program's own that a removal would delete with the record, whatever the
// record's mode is now; nullopt when there is none.
std::optional<std::string> backupLostByRemoving(const QVRamDisk& disk);

// What is absent stays. The helper's login item follows.
Outcome setMenuBar(Registry& registry, std::optional<bool> show, std::optional<bool> atLogin);
// Starts or ends the helper, as its application does when the menu bar's switch was turned.
void setHelperRuns(bool run);

// Whether the helper saves what is mounted when the session ends.
Outcome setSaveAtSessionEnd(Registry& registry, bool save);

// The menu-bar item's look, in the application's own preferences: 0 in colour, 1 plain.
std::int64_t iconStyle();
void setIconStyle(std::int64_t style);

}  // namespace settings
