#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/QVError.h"
#include "ramdisk/Generation.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "ramdisk/VolumeNotes.h"

// One save of a volume into a generation. What provably did not change since the last one is taken
// over from it. Until the new generation is whole and on the device, the former one stays: each
// failure, and a program that is killed, leave one of the two. Use once; blocks.
class SaveRun {
 public:
  SaveRun(std::string volume, Generation generation, const QVRamDiskBackup::Progress& progress,
          SaveCare care)
      : volume_(std::move(volume)),
        generation_(std::move(generation)),
        progress_(progress),
        care_(care) {}

  // Items that cannot be copied are logged and keep the former generation, and are no error. A
  // destination that is full is one, after which the former generation has its place back.
  QVErrorPtr run();

 private:
  QVErrorPtr dropUnfinished();
  QVErrorPtr checkRoom() const;
  QVErrorPtr setFormerAside();
  QVErrorPtr beginGeneration();
  QVErrorPtr fill();
  void chooseEarlier();
  CopyOutcome copy();
  void copyAnewUnshared(CopyOutcome& outcome);
  void logFailures(const CopyOutcome& outcome) const;
  QVErrorPtr giveUpFull(const CopyOutcome& outcome);
  QVErrorPtr complete(bool whole);
  void dropFormer();

  const std::string volume_;
  const Generation generation_;
  const QVRamDiskBackup::Progress& progress_;
  const SaveCare care_;

  std::vector<std::string> names_;      // of the volume's items
  std::optional<EarlierCopy> earlier_;  // the former generation
  std::optional<SaveNote> note_;        // of this save
  bool setAside_ = false;               // by this run
};
