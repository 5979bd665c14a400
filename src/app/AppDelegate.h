#pragma once
// The life of the helper: what it starts with, the disks that it makes at login, and how it goes.
//
// The start reads the list, makes the menu where one is wanted, and asks older copies to end, whose
// place it takes. Then the disks are made, on a thread of its own and one after the other, on a
// registry that only this start uses. Of each disk
//
//   the lock is taken first. Another program that works on the disk is waited for: an older copy
//   that was asked to end has that long for the action at hand and for its last save;
//   what a cut-off action left is put right under it, for every disk, wanted at login or not;
//   a disk that is wanted and not there is created, under the same lock: what was found stays so.
//
// All that may take minutes. So at the end only the states of the disks that were touched go into
// the file, and the registry is dropped; the menu's, or the session keeper's, is read anew. A
// helper without a menu, if it is no service, ends then where the disks need nobody: no disk keeps
// its contents, or the user does not want them saved at the session's end.
//
// Who asks the helper to end is heard at once. No further disk is begun, and the one at hand has
// kBusyPasses. What is at work after that stays behind (hasLeftovers()): a thread cannot be ended,
// so the process goes without the destructors of what that thread uses.

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "app/HelperOptions.h"
#include "app/SessionKeeper.h"
#include "menu/StatusMenuController.h"
#include "ramdisk/ActionLock.h"

// Main thread only, but for the recovery. Held by a shared pointer, which the recovery keeps.
class AppDelegate : public QVRamDiskEntriesDelegate,
                    public std::enable_shared_from_this<AppDelegate> {
 public:
  // Makes the menu and installs its item; only here is a toolkit loaded. May give null where there
  // is nothing to show one on.
  using MenuFactory = std::function<std::shared_ptr<StatusMenuController>()>;

  // Without a factory there is no menu.
  explicit AppDelegate(const app::HelperOptions& options, MenuFactory menuFactory = {});

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
  bool finishCutOffActions(const QVRamDiskPtr& disk, const ActionLock& lock);
  void noteRecovered(const QVRamDiskPtr& disk);
  void mt_recoveredDidEnd();
  void saveStartUpRegistry();
  void waitForRecovery();
  void stay();

  const app::HelperOptions options_;
  const MenuFactory menuFactory_;
  std::shared_ptr<QVRamDiskEntries> ramDiskEntries_;
  std::shared_ptr<StatusMenuController> statusMenuController_;
  app::SessionKeeper keeper_;
  bool terminating_ = false;
  std::atomic<bool> recovering_ = false;
  std::atomic<bool> stopRecovery_ = false;
  std::mutex mutex_;  // guards what follows
  Disks recovered_;   // whose state the recovery changed
};
