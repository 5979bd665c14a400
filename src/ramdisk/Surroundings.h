#pragma once
// What a disk must keep clear of. A disk hides whatever its directory holds, and while it is
// mounted its contents are in memory: neither may happen to what somebody else relies on. So its
// place and its backup folder are held, as real paths, against
//
//   mounts          what is mounted below the directory would be hidden, and moved away with it
//   other disks     a disk inside another one is saved into memory, and unmounted with it
//   own folders     home, the list with its locks and backups, the settings, the programs: a disk
//                   over one would take from under itself what its eject needs
//
// A place is looked at when it is chosen, by whichever program, and once more when it is used,
// because what is mounted and where links lead changes meanwhile. Any thread.

#include <vector>

#include "core/Trouble.h"
#include "ramdisk/QVRamDisk.h"

// `all` are the disks of the list; the disk itself may be among them.
Checked checkPlaceAmong(const QVRamDisk& disk, const std::vector<QVRamDiskPtr>& all);
Checked checkBackupAmong(const QVRamDisk& disk, const std::vector<QVRamDiskPtr>& all);

// A disk that is kept in its directory and leaves out what that holds would put this aside at its
// eject. What a directory holds stays under a disk of another mode, and is out of sight meanwhile.
Checked checkNothingReplaced(const QVRamDisk& disk);
Checked checkNothingHidden(const QVRamDisk& disk);

// All that a creation checks before it touches anything, among the disks of the list as it is
// saved.
Checked checkCreationOf(const QVRamDisk& disk);
