#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "app/HelperOptions.h"
#include "app/Menu.h"
#include "app/SessionKeeper.h"
#include "ramdisk/ActionLock.h"

// The life of the helper: what it starts with, the disks that it makes at login, and how it goes.
// Main thread only, but for the recovery. Held by a shared pointer, which the recovery keeps.
class AppDelegate : public QVRamDiskEntriesDelegate,
                    public std::enable_shared_from_this<AppDelegate> {
 public:
  // Without a factory there is no menu.
  explicit AppDelegate(const app::HelperOptions& options, app::MenuFactory menuFactory = {});

  void applicationDidFinishLaunching();
  // Blocks while something runs that must not be cut off, for a limited time. Always YES.
  bool applicationShouldTerminate();
  // Ends the main loop after that. Asking twice is asking once.
  void terminate();

  // The progress of the recovery is not shown.
  void ramDiskEntries(QVRamDiskEntries&, const QVRamDiskPtr&) override {}

  // The registry of the start, null once the recovery ended.
  const std::shared_ptr<QVRamDiskEntries>& ramDiskEntries() const { return ramDiskEntries_; }

  bool isRecovering() const { return recovering_; }

  // Something that had its time is still at work on a thread: the process must end without
  // destructors.
  bool hasLeftovers() const { return recovering_ || keeper_.hasLeftovers(); }

 private:
  using Disks = std::vector<QVRamDiskPtr>;

  void makeMenuIfWanted();
  void startRecovery();
  // Its own thread. The disks are the list as it was at the start.
  void qv_recoverRamDiskEntries(QVRamDiskEntries& entries, const Disks& disks);
  void recover(QVRamDiskEntries& entries, const QVRamDiskPtr& disk);
  std::optional<ActionLock> lockOf(const QVRamDisk& disk) const;
  bool finishCutOffActions(const QVRamDiskPtr& disk);
  void noteRecovered(const QVRamDiskPtr& disk);
  void mt_recoveredDidEnd();
  void saveStartUpRegistry();
  void waitForRecovery();
  void stay();

  const app::HelperOptions options_;
  const app::MenuFactory menuFactory_;
  std::shared_ptr<QVRamDiskEntries> ramDiskEntries_;
  std::shared_ptr<app::Menu> statusMenuController_;
  app::SessionKeeper keeper_;
  bool terminating_ = false;
  std::atomic<bool> recovering_ = false;
  std::atomic<bool> stopRecovery_ = false;
  std::mutex mutex_;  // guards what follows
  Disks recovered_;   // whose state the recovery changed
};
