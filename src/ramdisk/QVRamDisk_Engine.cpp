#include <algorithm>
#include <array>
#include <utility>

#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "ramdisk/QVRamDisk.h"
#include "system/DetachedThread.h"

// How an action runs, whichever it is. On its thread it takes the disk's lock, or has been handed
// it; then it sets the record's action, reports its start, works, lets go of the lock, clears the
// action, and reports its end. So whoever follows it tells the end by the action being none, finds
// the outcome in the record by then, and may act on the disk at once.
//
// The lock goes down through the signatures: from here into creation, eject, saving and recovery,
// none of which asks for it again.

struct QVRamDisk::Operation {
  QVRamDiskAction action;
  QVRamDiskActionInfo info;  // of the last report, and of the first
  bool tellsStart;
  bool alwaysOnThread;
  QVErrorPtr (QVRamDisk::*work)(const QVRamDiskDelegatePtr&, const ActionLock&);
};

// Null for what is no action. Clean-up stands here as it is started by itself.
const QVRamDisk::Operation* QVRamDisk::operationOf(QVRamDiskAction action) {
  static constexpr std::array<Operation, 7> kOperations = {{
      {QVRamDiskActionCreate, QVRamDiskActionInfo_creating, true, false, &QVRamDisk::create},
      {QVRamDiskActionSyncWithBase, QVRamDiskActionInfo_copyingToBase, true, true,
       &QVRamDisk::syncWithBase},
      {QVRamDiskActionBackup, QVRamDiskActionInfo_backuping, true, true, &QVRamDisk::backup},
      {QVRamDiskActionRemount, QVRamDiskActionInfo_remounting, true, false, &QVRamDisk::remount},
      {QVRamDiskActionEject, QVRamDiskActionInfo_ejecting, false, false, &QVRamDisk::eject},
      {QVRamDiskActionCleanUpFiles, QVRamDiskActionInfo_none, true, true, &QVRamDisk::cleanUpFiles},
      {QVRamDiskActionRebuild, QVRamDiskActionInfo_none, false, true, &QVRamDisk::rebuild},
  }};
  const auto found =
      std::find_if(kOperations.begin(), kOperations.end(),
                   [action](const Operation& each) { return each.action == action; });
  return found == kOperations.end() ? nullptr : &*found;
}

void QVRamDisk::performAction(QVRamDiskAction action, const QVRamDiskDelegatePtr& delegate,
                              std::int64_t threaded, ActionTerms terms) {
  reportRunningAction();
  dispatch(action, delegate, threaded == 1, std::move(terms));
}

void QVRamDisk::startCleanUp(const QVRamDiskDelegatePtr& delegate, ActionTerms terms) {
  reportRunningAction();
  startOnThread(*operationOf(QVRamDiskActionCleanUpFiles), delegate, std::move(terms));
}

void QVRamDisk::reportRunningAction() const {
  if (const std::int64_t running = this->action(); running != QVRamDiskActionNone)
    QVLogCriticalException(description(), "An other action is running:{}", running);
}

void QVRamDisk::dispatch(QVRamDiskAction action, const QVRamDiskDelegatePtr& delegate,
                         bool threaded, ActionTerms terms) {
  if (action == QVRamDiskActionCleanUpFiles) return cleanUpHere(delegate, std::move(terms.lock));
  const Operation* operation = operationOf(action);
  if (!operation) return;
  if (threaded || operation->alwaysOnThread)
    return startOnThread(*operation, delegate, std::move(terms));
  run(*operation, delegate, std::move(terms));
}

// A disk counts as busy from here on, not only once its thread runs: nobody is to replace its
// record, begin something else or end the program meanwhile. A system that gives no thread has the
// caller wait: an eject or a save that is not done at all could cost files.
void QVRamDisk::startOnThread(const Operation& operation, const QVRamDiskDelegatePtr& delegate,
                              ActionTerms terms) {
  setAction(operation.action);
  const auto given = std::make_shared<ActionTerms>(std::move(terms));  // for the one run
  runOnOwnThreadElseHere([disk = shared_from_this(), &operation, delegate, given] {
    disk->run(operation, delegate, std::exchange(*given, {}));
  });
}

// What another program is doing to the disk is not disturbed; the action ends before it begins.
void QVRamDisk::run(const Operation& operation, const QVRamDiskDelegatePtr& delegate,
                    ActionTerms terms) {
  QVErrorPtr error;
  auto info = QVRamDiskActionInfo_none;
  if (const auto held = lockForAction(std::move(terms.lock), error)) {
    info = operation.info;
    held->tell(operation.action, operation.info);
    change([&](DiskSettings&, DiskObservation& observed) {
      observed.action = operation.action;
      observed.notices.clear();
      insistence_ = {terms.force, terms.atLogin};
    });
    if (operation.tellsStart) inform(delegate, info, nullptr);
    error = makeReady(operation.action, *held);
    if (!error) error = (this->*operation.work)(delegate, *held);
  }
  setAction(QVRamDiskActionNone);
  inform(delegate, info, error);
}

// A second action of this record, which is the caller's fault and was reported, runs beside the
// first under the lock of that one.
std::shared_ptr<const ActionLock> QVRamDisk::lockForAction(Lock given, QVErrorPtr& error) {
  auto running = [this] {
    const std::lock_guard guard(mutex_);
    return acting_.lock();
  }();
  if (running) return running;
  const auto taken = given ? std::move(*given) : ActionLock::take(identifier_);
  if (!taken) {
    error = taken.error();
    return nullptr;
  }
  auto held = std::make_shared<const ActionLock>(*taken);
  const std::lock_guard guard(mutex_);
  acting_ = held;
  return held;
}

void QVRamDisk::inform(const QVRamDiskDelegatePtr& delegate, QVRamDiskActionInfo actionInfo,
                       const QVErrorPtr& error) {
  change([&](DiskSettings&, DiskObservation& observed) {
    observed.lastActionInfo = actionInfo;
    observed.lastError = error;
  });
  if (delegate) delegate->ramDiskDidUpdated(shared_from_this());
}

void QVRamDisk::tell(std::string notice) {
  QVLogWarning("QVRamDisk", "{}", notice);
  change([&](DiskSettings&, DiskObservation& observed) {
    observed.notices.push_back(std::move(notice));
  });
}

QVRamDiskBackup::Progress QVRamDisk::progressFor(const QVRamDiskDelegatePtr& delegate,
                                                 std::uint64_t totalBytes) {
  if (!delegate) return {};
  return [disk = shared_from_this(), delegate, totalBytes](const CopyProgress& copied) {
    delegate->ramDiskDidProgress(disk, {copied.bytes, copied.entries, totalBytes});
  };
}

// --- One action each

void QVRamDisk::performCreate(const QVRamDiskDelegatePtr& delegate) {
  run(*operationOf(QVRamDiskActionCreate), delegate);
}

void QVRamDisk::performEject(const QVRamDiskDelegatePtr& delegate) {
  run(*operationOf(QVRamDiskActionEject), delegate);
}

void QVRamDisk::performRemount(const QVRamDiskDelegatePtr& delegate) {
  run(*operationOf(QVRamDiskActionRemount), delegate);
}

void QVRamDisk::performRebuild(const QVRamDiskDelegatePtr& delegate) {
  run(*operationOf(QVRamDiskActionRebuild), delegate);
}

void QVRamDisk::performBackup(const QVRamDiskDelegatePtr& delegate) {
  run(*operationOf(QVRamDiskActionBackup), delegate);
}

void QVRamDisk::performSyncWithBase(const QVRamDiskDelegatePtr& delegate) {
  run(*operationOf(QVRamDiskActionSyncWithBase), delegate);
}

void QVRamDisk::performCleanUpFiles() {
  QVErrorPtr error;
  if (const auto held = lockForAction({}, error)) cleanUpFiles(nullptr, *held);
}

// On the caller's thread a clean-up neither counts as an action nor is reported: where it is done
// there is nothing to say, so only what was refused is told.
void QVRamDisk::cleanUpHere(const QVRamDiskDelegatePtr& delegate, Lock lock) {
  QVErrorPtr error;
  if (const auto held = lockForAction(std::move(lock), error))
    error = cleanUpFiles(delegate, *held);
  if (error) inform(delegate, QVRamDiskActionInfo_none, error);
}

// What was set aside for a volume that did not come to be goes back at once. Whatever stands in the
// way of that is told; the error stays the creation's.
QVErrorPtr QVRamDisk::create(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  QVErrorPtr error;
  if (!createVolume(delegate, error, lock)) undoCreation(lock);
  return error;
}

QVErrorPtr QVRamDisk::rebuild(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  QVErrorPtr error = eject(delegate, lock);
  if (!error && !createVolume(delegate, error, lock)) {
    QVLogError("QVRamDisk", "icreateWithDelegate==NO");
    undoCreation(lock);
  }
  return error;
}

// Nothing is copied: the device has kept its contents.
QVErrorPtr QVRamDisk::remount(const QVRamDiskDelegatePtr&, const ActionLock&) {
  const auto known = settings();
  Text mounted;
  QVErrorPtr error =
      QVRamDiskDevice::mountDeviceNode(deviceNode(), known.mountDirectory, known.name, known.format,
                                       known.type, identifier_, mounted, QVVolumeState::Known);
  if (!error) setPath(mounted);
  if (error && error->code() == QVErrorCode::OtherVolume) setDeviceNode(std::nullopt);
  update();
  return error;
}
