#pragma once
// What a cut-off action left behind, and putting it right. Each disk is looked at by itself; what
// is found is a list of steps, so that it can be told without being done. Recovery.cpp has how.

#include <optional>
#include <string>
#include <vector>

#include "core/QVError.h"
#include "ramdisk/ActionLock.h"
#include "ramdisk/QVRamDisk.h"

enum class RecoveryStep {
  Adopt,         // the disk's volume is mounted and whole, but the record does not know it, or a
                 // cut-off eject left it read-only
  UndoCreation,  // the volume was never filled to the end: unmount and detach it, never save it
  FinishEject,   // the device is attached and not mounted: mount it, save it, eject it
  MountAgain,    // the same, and its contents are to be worked on: mount it
  PutBack,       // the base is set aside and its directory is missing or empty: put it back
  KeepRescued,  // both the directory and a set-aside base hold files: keep the base by another name
  GiveBack,     // a device was attached and never used, mounted nowhere: detach it if it is empty
  DropUnfinished,  // a save that was cut off left what the whole generation makes needless
};

struct RecoveryFinding {
  RecoveryStep step;
  std::string path;  // what it is about: a volume's, a device's or a folder's
  std::string text;  // one sentence for the user, with all paths, in the present tense
};

// What would be done for the disk, in order; nothing is changed. Nothing for a disk whose volume is
// mounted and known, nor for one that is being acted on. Blocks for the disk tools; any thread.
std::vector<RecoveryFinding> findCutOffActions(const QVRamDiskPtr& disk);

// What the caller is about to do.
enum class RecoveryPurpose {
  ClearTheWay,     // make the disk, or nothing: a device that waits is mounted, saved and ejected
  WorkOnContents,  // save or empty them: a device that waits is mounted again, and stays
};

RecoveryPurpose recoveryPurposeOf(QVRamDiskAction action);

// Does it, and gives what was found; `error` is the first failure, after which nothing more is done
// to this disk. The record's state changes with it; saving the registry is the caller's.
std::vector<RecoveryFinding> recoverCutOffActions(
    const QVRamDiskPtr& disk, const ActionLock& lock, QVErrorPtr& error,
    RecoveryPurpose purpose = RecoveryPurpose::ClearTheWay);

// The parts of it that concern set-aside folders and a device that was never used, which a creation
// does first. What fails is logged.
void putGenerationsBack(const QVRamDiskPtr& disk, const ActionLock& lock);
std::optional<RecoveryFinding> giveBackStrayDevice(const QVRamDiskPtr& disk,
                                                   const ActionLock& lock);

// What leads to a device that is attached and not mounted and labelled yet, and to nothing else:
// a note in a file. One that cannot be written is done without.
void noteAttachedDevice(const std::optional<std::string>& identifier, const std::string& node);
void forgetAttachedDevice(const std::optional<std::string>& identifier);
