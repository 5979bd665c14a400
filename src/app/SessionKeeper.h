#pragma once
// The end of the session, and what a helper that stays does until then.
//
// A session that ends takes the memory and what is in it along. Whoever wants to save first has to
// hold the end back before it is announced: by then it is too late to ask. So the keeper holds it
// (platform::SessionEnd) for as long as a mounted disk has something to save, which it knows by
// following the list, and lets go when the last one is ejected. Nothing of it polls.
//
// The announcement starts one save: each disk on a thread of its own, by the action that ejecting
// it would save with, and it stays mounted, because a session that sleeps comes back. It is moved
// on by a timer and never blocks the loop. A disk that is busy, in this program or in another, is
// waited for until kBusyPasses; what is not saved after kMostPasses is given up, with a line in the
// log. A list that changed meanwhile is read after the save.
//
// The end need not come: a shutdown may be called off, and sleep is over some time. So a while
// after the save the end is held anew. A helper that is asked to end makes the same save and waits
// for it (saveAndWait()): where nothing announces the end of a session, that is how it comes.

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "platform/MainLoop.h"
#include "platform/Session.h"
#include "ramdisk/QVRamDiskEntries.h"

namespace app {

// How long an end waits, in looks at what is still at work.
constexpr std::chrono::milliseconds kPass{250};  // between two looks
constexpr int kBusyPasses = 120;                 // for a disk that is busy: 30 seconds
constexpr int kMostPasses = 240;                 // for all: a minute

class SessionSave;

// Main thread only.
class SessionKeeper {
 public:
  // `isBusy` tells of actions besides the registry's own; they are waited for like those.
  explicit SessionKeeper(std::function<bool()> isBusy);
  ~SessionKeeper();
  SessionKeeper(const SessionKeeper&) = delete;
  SessionKeeper& operator=(const SessionKeeper&) = delete;

  // Reads a registry of its own and follows the file.
  void start();
  // The same on a registry that its owner keeps in step; it is not read anew while that is busy
  // with it.
  void startWith(std::shared_ptr<QVRamDiskEntries> entries, std::function<bool()> ownerIsBusy = {});
  bool isStarted() const { return entries_ != nullptr; }
  // Whether there is a disk whose contents are to be saved at the end, mounted by now or not.
  bool isNeeded() const;

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
