#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "cli/ActionDisplay.h"
#include "cli/ActionVerb.h"
#include "cli/Interruption.h"
#include "cli/Registry.h"
#include "platform/MainLoop.h"
#include "ramdisk/ActionLock.h"

namespace cli {

// Runs one action on disks one after the other, in the order added, on the main loop. The registry
// is read before and written after each. What fails is said and the rest goes on; an interruption
// lets the running disk finish. Use once, on the main thread.
class ActionQueue {
 public:
  ActionQueue(Context& context, const ActionVerb& verb, const ActionRequest& request);

  void add(const QVRamDisk& disk);
  // Returns when the last action has reported its end. Gives the exit status.
  int run();

 private:
  class Reports;
  struct Stage;
  struct Pending {
    std::optional<std::string> identifier;
    std::string name;
  };

  void startNext();
  void lockFor(const Pending& pending);
  void startOn(const QVRamDiskPtr& disk);
  std::optional<Refusal> refusalOf(const QVRamDisk& disk) const;
  void reported(const Stage& stage);
  void finished(const QVErrorPtr& error);
  void sayHowItEnded(const QVErrorPtr& error);
  void refuse(const Refusal& refusal);
  void sayInterrupted();
  void stopEarly();
  void goOn();
  void stop();
  QVRamDiskPtr find(const Pending& pending) const;

  Context& context_;
  const ActionVerb& verb_;
  const bool passesOverOthers_;  // those for which the action has no meaning
  const bool forced_;
  const std::shared_ptr<platform::MainLoop> loop_;
  const std::unique_ptr<ActionDisplay> display_;
  const Interruption interruption_;
  Registry registry_;
  std::deque<Pending> pending_;
  std::optional<ActionLock> lock_;  // of the running one
  QVRamDiskPtr disk_;               // the running one
  std::string name_;                // its name, as the user knows it
  std::chrono::steady_clock::time_point started_;
  bool saidInterrupted_ = false;
  int status_ = kDone;
};

}  // namespace cli
