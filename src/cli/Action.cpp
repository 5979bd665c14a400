#include "cli/Action.h"

#include <fmt/format.h>

#include <chrono>
#include <deque>
#include <memory>

#include "cli/ActionDisplay.h"
#include "cli/DiskNames.h"
#include "cli/Interruption.h"
#include "cli/Output.h"
#include "cli/Recover.h"
#include "cli/Registry.h"
#include "extensions/ErrorText.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/ActionLock.h"
#include "ramdisk/Remedy.h"
#include "settings/DiskState.h"
#include "settings/TypedText.h"

namespace cli {
namespace {

using namespace std::chrono_literals;

constexpr auto kLookForInterruption = 100ms;

// A rebuild and an eject go through stages of other actions; the stage alone says which.
QVRamDiskAction actionOfStage(QVRamDiskActionInfo info, QVRamDiskAction running) {
  if (info == QVRamDiskActionInfo_none) return running;
  if (info <= QVRamDiskActionInfo_creatingMdIndexMode) return QVRamDiskActionCreate;
  if (info == QVRamDiskActionInfo_copyingToBase) return QVRamDiskActionSyncWithBase;
  if (info == QVRamDiskActionInfo_backuping) return QVRamDiskActionBackup;
  return info == QVRamDiskActionInfo_remounting ? QVRamDiskActionRemount : QVRamDiskActionEject;
}

// Where another program acts on the disk, that knows its state.
bool didBegin(const QVErrorPtr& error) { return !error || error->code() != QVErrorCode::Locked; }

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
  Allowed mayStart(const QVRamDisk& disk) const;
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

// A record as it was when it reported.
struct ActionQueue::Stage {
  QVRamDiskAction action;
  QVRamDiskActionInfo info;
  QVErrorPtr error;
};

// Hands the reports of the action's thread to the main loop. The queue outlives the last of them,
// the loop whoever posts to it.
class ActionQueue::Reports : public QVRamDiskEntriesDelegate {
 public:
  Reports(ActionQueue& queue, std::shared_ptr<platform::MainLoop> loop)
      : queue_(queue), loop_(std::move(loop)) {}

  void ramDiskEntries(QVRamDiskEntries&, const QVRamDiskPtr& disk) override {
    loop_->post([&queue = queue_, stage = Stage{disk->action(), disk->lastActionInfo(),
                                                disk->lastError()}] { queue.reported(stage); });
  }

  void ramDiskEntriesProgress(QVRamDiskEntries&, const QVRamDiskPtr&,
                              const QVRamDiskProgress& copied) override {
    loop_->post([&queue = queue_, copied] { queue.display_->progress(copied); });
  }

 private:
  ActionQueue& queue_;
  const std::shared_ptr<platform::MainLoop> loop_;
};

ActionQueue::ActionQueue(Context& context, const ActionVerb& verb, const ActionRequest& request)
    : context_(context),
      verb_(verb),
      passesOverOthers_(request.all),
      forced_(request.force),
      loop_(platform::services().mainLoop),
      display_(displayFor(context)),
      registry_(std::make_shared<Reports>(*this, loop_)) {}

void ActionQueue::add(const QVRamDisk& disk) {
  pending_.push_back({disk.identifier(), nameOf(disk)});
}

int ActionQueue::run() {
  const auto timer = loop_->every(kLookForInterruption, [this] { sayInterrupted(); });
  goOn();
  loop_->run();
  loop_->cancel(timer);
  return status_;
}

void ActionQueue::goOn() {
  loop_->post([this] { startNext(); });
}

void ActionQueue::stop() { loop_->stop(); }

// Records of the oldest registries may have no identifier.
QVRamDiskPtr ActionQueue::find(const Pending& pending) const {
  for (const auto& disk : registry_.disks())
    if (pending.identifier ? disk->identifier() == pending.identifier
                           : nameOf(*disk) == pending.name)
      return disk;
  return nullptr;
}

// From before the list is read until what the action did is saved. That another program has it, the
// action will find and say.
void ActionQueue::lockFor(const Pending& pending) {
  lock_ = ActionLock::takeIfFree(pending.identifier);
}

void ActionQueue::startNext() {
  lock_.reset();
  if (pending_.empty()) return stop();
  if (interruption_.noted()) return stopEarly();
  const Pending next = pending_.front();
  pending_.pop_front();
  lockFor(next);
  if (const auto loaded = registry_.loadSettled(context_); !loaded) {
    refuse(loaded.error());
    return stop();
  }
  const auto disk = find(next);
  if (disk) return startOn(disk);
  refuse({kNoSuchDisk, next.name + " was removed meanwhile", {}});
  goOn();
}

Allowed ActionQueue::mayStart(const QVRamDisk& disk) const {
  settings::DiskState state(registry_.disks());
  return verb_.check(disk, state.status(disk));
}

void ActionQueue::startOn(const QVRamDiskPtr& disk) {
  if (const auto may = mayStart(*disk); !may) {
    if (!passesOverOthers_ || may.error().status != kActionFailed) refuse(may.error());
    return goOn();
  }
  disk_ = disk;
  name_ = nameOf(*disk);
  started_ = std::chrono::steady_clock::now();
  const auto reports = registry_.entries().shared_from_this();
  ActionTerms terms;
  terms.lock = lock_;
  terms.force = forced_;
  if (verb_.action == QVRamDiskActionCleanUpFiles)
    disk->startCleanUp(reports, std::move(terms));
  else
    disk->performAction(verb_.action, reports, 1, std::move(terms));
}

void ActionQueue::reported(const Stage& stage) {
  if (stage.action == QVRamDiskActionNone) return finished(stage.error);
  const auto text = QVRamDiskManager::displayStringFromAction(
      actionOfStage(stage.info, stage.action), stage.info);
  if (text) display_->stage(name_, *text);
}

void ActionQueue::finished(const QVErrorPtr& error) {
  display_->end();
  disk_->update();
  for (const auto& notice : disk_->observed().notices) context_.warn(printable(notice));
  // The node of a device that is gone will soon be another's.
  if (verb_.action == QVRamDiskActionEject && !error) disk_->setDeviceNode(std::nullopt);
  sayHowItEnded(error);
  if (didBegin(error))
    if (const auto saved = registry_.saveStateOf(disk_); !saved) refuse(saved.error());
  goOn();
}

void ActionQueue::sayHowItEnded(const QVErrorPtr& error) {
  if (error) {
    const auto remedy = remedyFor(*error, *disk_, verb_.action);
    const bool refused =
        error->code() == QVErrorCode::InUse || error->code() == QVErrorCode::CannotBeHeld;
    const std::string text = extensions::errorText(*error);
    return refuse({refused ? kRefused : kActionFailed,
                   text.starts_with(name_) ? text : name_ + ": " + text,
                   commandSentence(remedy.trouble, remedy.facts).todo});
  }
  if (disk_->status() != verb_.statusAfterwards)
    return refuse({kActionFailed, name_ + ": the action ended, but the disk is not as it should be",
                   "'tarnvale show " + name_ + "' shows its state"});
  if (const auto done = verb_.verify ? verb_.verify(*disk_) : Allowed(); !done)
    return refuse(done.error());
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - started_;
  context_.say(fmt::format("{}: {} in {:.2f} s", printable(name_), printable(verb_.result(*disk_)),
                           took.count()));
}

void ActionQueue::refuse(const Refusal& refusal) {
  status_ = combined(status_, context_.refuse(refusal));
}

void ActionQueue::sayInterrupted() {
  if (!interruption_.noted() || saidInterrupted_) return;
  saidInterrupted_ = true;
  display_->end();
  context_.warn("interrupted; " + name_ + " is finished first, a second interruption ends at once");
}

void ActionQueue::stopEarly() {
  refuse({kActionFailed, fmt::format("interrupted before {}", pending_.front().name),
          pending_.size() == 1 ? "it was left as it is"
                               : fmt::format("{} disks were left as they are", pending_.size())});
  stop();
}

// The disks that a confirmation is about; the others are refused when their turn comes.
std::string namesToConfirm(const ActionVerb& verb, const std::vector<QVRamDiskPtr>& disks,
                           const std::vector<QVRamDiskPtr>& all) {
  settings::DiskState state(all);
  std::string names;
  for (const auto& disk : disks)
    if (verb.check(*disk, state.status(*disk)))
      names += (names.empty() ? "" : ", ") + nameOf(*disk);
  return names;
}

}  // namespace

int runAction(Context& context, const ActionVerb& verb, const ActionRequest& request) {
  if (request.names.empty() != request.all)
    return context.refuse(
        kWrongUsage, request.all ? "--all goes without names" : "no disk is named",
        fmt::format("write 'tarnvale {0} DISK...' or 'tarnvale {0} --all'", verb.name));
  auto registry = openRegistry(context);
  if (!registry) return registry.error();
  Selection selection = selectDisks(registry->disks(), request.names);
  if (!selection) return context.refuse(selection.error());
  if (request.all) *selection = registry->disks();
  const int status = recoverBeforeAction(context, verb, *registry, *selection);
  if (verb.question) {
    const auto names = namesToConfirm(verb, *selection, registry->disks());
    if (!names.empty())
      if (const auto agreed = context.confirm(request.yes, verb.question + (" " + names)); !agreed)
        return agreed.error();
  }
  ActionQueue queue(context, verb, request);
  for (const auto& disk : *selection) queue.add(*disk);
  return combined(status, queue.run());
}

std::string mountedText(const QVRamDisk& disk) {
  return fmt::format("mounted at {} ({}, {} % used)", shownMountPoint(disk),
                     settings::sizeText(disk.volSize()), settings::usedPercent(disk));
}

Allowed isMounted(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (status == QVRamDiskStatus_mounted) return {};
  if (status == QVRamDiskStatus_created)
    return Refusal{kActionFailed, nameOf(disk) + " is not mounted",
                   "'tarnvale remount' mounts it with its contents"};
  return Refusal{kActionFailed, nameOf(disk) + " is not created", "'tarnvale create' makes it"};
}

}  // namespace cli
