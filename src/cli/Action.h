#pragma once
// An action of the engine as a verb, and how it runs:
//
//   1. The registry is read, and the names are looked up in it.
//   2. What a cut-off action left of these disks is put right (Recover.h).
//   3. What deletes contents asks, if it is to ask.
//   4. Disk after disk, in the order named: its lock is taken, the registry is read again under it,
//      the verb refuses what has no meaning, and the engine acts on a thread of its own while the
//      main loop shows how far that is. At the end the disk's state is saved, still under the lock.
//
// So nothing that another program did between the look and the act goes unseen, and what one disk
// is refused or fails for does not keep the others. An interruption lets the running disk finish:
// nobody dies in the middle of a save.

#include <string>
#include <vector>

#include "cli/Context.h"
#include "ramdisk/QVRamDisk.h"

namespace cli {

// An action of the engine as a verb.
struct ActionVerb {
  const char* name;
  const char* help;
  QVRamDiskAction action;
  QVRamDiskStatus statusAfterwards;  // of a disk on which the action succeeded
  // Whether the action is started on a disk in this state. A refusal with kActionFailed: the action
  // has no meaning for it, and --all passes over it.
  Allowed (*check)(const QVRamDisk& disk, QVRamDiskStatus status);
  // What happened, without the name: "mounted at PATH".
  std::string (*result)(const QVRamDisk& disk);
  const char* question = nullptr;  // set: to be confirmed, "deleting the contents of"
  // Set: whether an action that reports no errors of its own has succeeded.
  Allowed (*verify)(const QVRamDisk& disk) = nullptr;
  // What it is refused for without --force; null where it is refused for nothing.
  const char* insists = nullptr;
};

// What the user asked a verb for.
struct ActionRequest {
  std::vector<std::string> names;
  bool all = false;
  bool yes = false;
  bool force = false;
};

// Runs the action on the disks, one after the other. Gives the exit status.
int runAction(Context& context, const ActionVerb& verb, const ActionRequest& request);

// "mounted at PATH (1 GB, 37 % used)"
std::string mountedText(const QVRamDisk& disk);

// A disk that is not mounted is refused.
Allowed isMounted(const QVRamDisk& disk, QVRamDiskStatus status);

}  // namespace cli
