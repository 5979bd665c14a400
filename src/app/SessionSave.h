#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "ramdisk/QVRamDiskEntries.h"

namespace app {

// What saves a mounted disk where its settings say, as its ejecting would, and leaves it mounted:
// QVRamDiskActionSyncWithBase or QVRamDiskActionBackup. None when there is nothing to save.
QVRamDiskAction savingAction(const QVRamDisk& disk);

// One save of all mounted disks, each on a thread of its own. It is moved on by step(), which does
// not block; whoever wants to wait calls it again and again. A disk that is busy is saved when its
// action has ended; what lasts too long is given up, with a line in the log. Main thread only.
class SessionSave {
 public:
  static constexpr std::chrono::milliseconds kPass{250};  // between two steps
  static constexpr int kBusyPasses = 120;                 // for a disk that is busy: 30 seconds
  static constexpr int kMostPasses = 240;                 // for all: a minute

  explicit SessionSave(std::shared_ptr<QVRamDiskEntries> entries);

  // Starts what can be started. YES when everything is saved or given up.
  bool step();

  // Saves that were given up are still at work.
  bool hasLeftovers() const { return !disks_.empty(); }

 private:
  class Report;
  struct Disk {
    QVRamDiskPtr record;
    std::shared_ptr<Report> report;  // from its start on
  };

  bool isOver(Disk& disk);
  void giveUp() const;

  std::shared_ptr<QVRamDiskEntries> entries_;
  std::vector<Disk> disks_;  // not saved yet
  int passes_ = 0;
};

}  // namespace app
