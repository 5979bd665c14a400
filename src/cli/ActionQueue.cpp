#include "cli/ActionQueue.h"

#include <fmt/format.h>

#include "cli/ActionAdvice.h"
#include "cli/Columns.h"
#include "cli/DiskNames.h"
#include "cli/VolumeUsers.h"
#include "extensions/ErrorText.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "settings/DiskState.h"

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

}  // namespace

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
  QVErrorPtr taken;
  lock_ = ActionLock::take(pending.identifier, taken);
}

void ActionQueue::startNext() {
  lock_.reset();
  if (pending_.empty()) return stop();
  if (interruption_.noted()) return stopEarly();
  const Pending next = pending_.front();
  pending_.pop_front();
  lockFor(next);
  if (const auto unreadable = registry_.loadSettled(context_)) {
    refuse(*unreadable);
    return stop();
  }
  const auto disk = find(next);
  if (disk) return startOn(disk);
  refuse({kNoSuchDisk, next.name + " was removed meanwhile", {}});
  goOn();
}

std::optional<Refusal> ActionQueue::refusalOf(const QVRamDisk& disk) const {
  settings::DiskState state(registry_.disks());
  if (auto refusal = verb_.refusal(disk, state.status(disk))) return refusal;
  return verb_.unmounts && !forced_ ? refuseWhileInUse(disk) : std::nullopt;
}

void ActionQueue::startOn(const QVRamDiskPtr& disk) {
  if (const auto refusal = refusalOf(*disk)) {
    if (!passesOverOthers_ || refusal->status != kActionFailed) refuse(*refusal);
    return goOn();
  }
  disk_ = disk;
  name_ = nameOf(*disk);
  started_ = std::chrono::steady_clock::now();
  auto& entries = registry_.entries();
  if (verb_.action == QVRamDiskActionCleanUpFiles)
    disk->startCleanUp(entries.shared_from_this());
  else
    entries.startAction(verb_.action, disk, 1);
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
  // The node of a device that is gone will soon be another's.
  if (verb_.action == QVRamDiskActionEject && !error) disk_->setDeviceNode(std::nullopt);
  sayHowItEnded(error);
  if (didBegin(error))
    if (const auto unwritten = registry_.saveStateOf(disk_)) refuse(*unwritten);
  goOn();
}

void ActionQueue::sayHowItEnded(const QVErrorPtr& error) {
  if (error)
    return refuse({kActionFailed, name_ + ": " + extensions::errorText(*error),
                   adviceFor(remedyFor(*error, *disk_, verb_.action), *disk_)});
  if (disk_->status() != verb_.statusAfterwards)
    return refuse({kActionFailed, name_ + ": the action ended, but the disk is not as it should be",
                   "'tarnvale show " + name_ + "' shows its state"});
  if (const auto fault = verb_.fault ? verb_.fault(*disk_) : std::nullopt) return refuse(*fault);
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

}  // namespace cli
