#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "app/SessionSave.h"
#include "platform/Notifications.h"

namespace app {

// What a helper does that stays: it keeps in step with the registry, holds the end of the session
// back while a mounted disk has something to save, and saves when the end is announced. Nothing of
// it polls. Main thread only.
class SessionKeeper {
 public:
  // `isBusy` tells of actions besides the registry's own; they are waited for like those.
  explicit SessionKeeper(std::function<bool()> isBusy) : isBusy_(std::move(isBusy)) {}
  ~SessionKeeper();
  SessionKeeper(const SessionKeeper&) = delete;
  SessionKeeper& operator=(const SessionKeeper&) = delete;

  // Reads a registry of its own and follows the file.
  void start();
  // The same on a registry that its owner keeps in step; it is not read anew while that is busy
  // with it.
  void startWith(std::shared_ptr<QVRamDiskEntries> entries, std::function<bool()> ownerIsBusy = {});
  bool isStarted() const { return entries_ != nullptr; }

  // Reads the registry anew; not while an action runs on one of its records.
  void readAgain();

  // Holds or lets go, as the disks and the user's switch say.
  void decideHold();

  // Saves now and waits for the end of it.
  void saveAndWait();

  // Saves that were given up may still be at work.
  bool hasLeftovers() const { return hasLeftovers_; }

 private:
  void n_ramDiskEntriesDidChangeToAllNotification(const platform::Notification& notification);
  void announced();
  bool saveStep();  // YES when there is nothing more to do
  void saveEnded();
  bool mayStart();
  bool mayRead() const;

  std::function<bool()> isBusy_;
  std::function<bool()> ownerIsBusy_;
  std::shared_ptr<QVRamDiskEntries> entries_;
  bool entriesAreOwn_ = false;
  std::optional<platform::Notifications::ObserverId> observer_;
  std::optional<platform::MainLoop::TimerId> saving_;
  std::optional<platform::MainLoop::TimerId> holdingAgain_;
  std::unique_ptr<SessionSave> save_;
  int passesBusy_ = 0;
  bool changedMeanwhile_ = false;
  bool hasLeftovers_ = false;
};

}  // namespace app
