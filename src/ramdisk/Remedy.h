#pragma once

#include <cstdint>

#include "ramdisk/QVRamDisk.h"

// What may help after a failed action. The command line and the menu each say it in their words.
enum class Remedy : std::uint8_t {
  None,             // nothing general can be said
  MakeLarger,       // the contents need more room
  CheckCommand,     // the command that runs on the new disk failed
  FreeThePlace,     // something else is mounted there
  CreateAnew,       // the device holds another volume by now
  WaitForOther,     // another program works on the disk
  UndoTheRefill,    // its contents never came in whole
  LookForContents,  // it is mounted, but its contents could not be brought back
  EndWhatUsesIt,    // it is still mounted with its contents
  PutTheBaseBack,   // the directory's own contents lie aside, at the record's savedBasePath
};

Remedy remedyFor(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action);
