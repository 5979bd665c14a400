#pragma once
// The checks before settings are saved. A problem means that nothing is to be saved.

#include <vector>

#include "ramdisk/QVRamDisk.h"
#include "settings/Change.h"
#include "settings/DiskState.h"
#include "settings/Problem.h"

namespace settings {

using Disks = std::vector<QVRamDiskPtr>;

// Name, size and place of a disk as for its creation, but for a running application, among the
// disks of `all`.
Outcome checkPlace(const QVRamDisk& disk, const Disks& all);
// Whether the contents can be kept where the backup mode says.
Outcome checkBackup(const QVRamDisk& disk, const Disks& all);
// Whether the disk takes in what it writes over.
Outcome checkContents(const QVRamDisk& disk);
// No refusal: what to say before the disk hides something.
Outcome noteOnContents(const QVRamDisk& disk);
// All that the creation will check.
Outcome checkCreation(const QVRamDisk& disk);

// Every problem of a record that is being edited, at most one a field, for what differs from how
// it is saved; the whole of name, size and place is checked when any of them does.
std::vector<Problem> problemsOfDraft(const QVRamDisk& draft, const Change& change,
                                     const Disks& all);

// That the directory's own contents do not lie aside, from a disk that was never ejected: what
// would lose their place is refused.
Outcome checkBaseAside(const QVRamDisk& disk);

// What the eject of a created disk relies on stays as it was when the disk was created, and as long
// as another program acts on it.
Outcome checkChanging(const QVRamDisk& disk, const Change& change, DiskState& state);
// A created disk, one that another program acts on, and one whose base lies aside stay in the list.
Outcome checkRemoving(const QVRamDisk& disk, DiskState& state);

// Makes the change to a record of `all` when nothing is refused: the rules above, what apply()
// checks, and place and backup where they change.
Outcome change(QVRamDisk& disk, const Change& change, const Disks& all);

}  // namespace settings
