#include "core/QVLog.h"
#include "ramdisk/ActionLock.h"
#include "ramdisk/QVRamDisk.h"
#include "system/DetachedThread.h"

void QVRamDisk::performAction(QVRamDiskAction action, const QVRamDiskDelegatePtr& delegate,
                              std::int64_t threaded) {
  reportRunningAction();
  dispatch(action, delegate, threaded == 1);
}

void QVRamDisk::reportRunningAction() const {
  if (const std::int64_t running = this->action(); running != QVRamDiskActionNone)
    QVLogCriticalException(description(), "An other action is running:{}", running);
}

// A disk counts as busy from here on, not only once its thread runs: nobody is to replace its
// record, begin something else or end the program meanwhile. A system that gives no thread has the
// caller wait: an eject or a save that is not done at all could cost files.
void QVRamDisk::startOnThread(QVRamDiskAction action, Operation operation,
                              const QVRamDiskDelegatePtr& delegate) {
  setAction(action);
  runOnOwnThreadElseHere(
      [disk = shared_from_this(), operation, delegate] { disk->runAlone(operation, delegate); });
}

void QVRamDisk::dispatch(QVRamDiskAction action, const QVRamDiskDelegatePtr& delegate,
                         bool threaded) {
  const auto start = [&](Operation operation, bool onThread) {
    if (onThread) return startOnThread(action, operation, delegate);
    runAlone(operation, delegate);
  };
  switch (action) {
    case QVRamDiskActionCreate:
      return start(&QVRamDisk::performCreate, threaded);
    case QVRamDiskActionSyncWithBase:
      return start(&QVRamDisk::performSyncWithBase, true);
    case QVRamDiskActionBackup:
      return start(&QVRamDisk::performBackup, true);
    case QVRamDiskActionRemount:
      return start(&QVRamDisk::performRemount, threaded);
    case QVRamDiskActionEject:
      return start(&QVRamDisk::performEject, threaded);
    case QVRamDiskActionCleanUpFiles:
      return runAlone(&QVRamDisk::performCleanUp, delegate);
    case QVRamDiskActionRebuild:
      return start(&QVRamDisk::performRebuild, true);
    default:
      return;
  }
}

// What another program is doing to the disk is not disturbed; the action ends before it begins.
void QVRamDisk::runAlone(Operation operation, const QVRamDiskDelegatePtr& delegate) {
  QVErrorPtr error;
  const ActionLock lock = ActionLock::take(identifier_, error);
  if (!error) return (this->*operation)(delegate);
  setAction(QVRamDiskActionNone);
  inform(delegate, QVRamDiskActionInfo_none, error);
}

void QVRamDisk::inform(const QVRamDiskDelegatePtr& delegate, QVRamDiskActionInfo actionInfo,
                       const QVErrorPtr& error) {
  setLastActionInfo(actionInfo);
  setLastError(error);
  if (delegate) delegate->ramDiskDidUpdated(shared_from_this());
}
