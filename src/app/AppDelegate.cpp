#include "app/AppDelegate.h"

#include "core/QVError.h"
#include "core/QVLog.h"
#include "platform/Services.h"
#include "ramdisk/Recovery.h"
#include "system/DetachedThread.h"
#include "system/QVRamDiskUtils.h"

using app::kBusyPasses;
using app::kMostPasses;
using app::kPass;
using platform::services;

namespace {

// The time that a helper has to end: for its action and for its last save.
constexpr int kOthersPasses = kBusyPasses + kMostPasses;

}  // namespace

AppDelegate::AppDelegate(const app::HelperOptions& options, MenuFactory menuFactory)
    : options_(options),
      menuFactory_(std::move(menuFactory)),
      keeper_([this] { return isRecovering(); }) {}

void AppDelegate::applicationDidFinishLaunching() {
  ramDiskEntries_ = QVRamDiskEntries::init();
  ramDiskEntries_->readRamDisksFromDefaultLocation();
  makeMenuIfWanted();
  QVRamDiskUtils::endOtherHelpers(options_.service);
  if (options_.fromApp) {
    QVLogInfo("AppDelegate", "Helper started from the principal app");
    stay();
  } else {
    startRecovery();
  }
}

void AppDelegate::makeMenuIfWanted() {
  const bool wanted = options_.menu && !options_.service && ramDiskEntries_->showInMenuBar();
  if (!wanted || !menuFactory_) return;
  statusMenuController_ = menuFactory_();
  if (!statusMenuController_) return;
  keeper_.startWith(statusMenuController_->ramDiskEntries(),
                    [menu = statusMenuController_] { return menu->isBusy(); });
}

void AppDelegate::stay() {
  if (!statusMenuController_) keeper_.start();
}

// A system that gives no thread has the disks made on this one, before anything else.
void AppDelegate::startRecovery() {
  recovering_ = true;
  runOnOwnThreadElseHere(
      [self = shared_from_this(), entries = ramDiskEntries_, disks = ramDiskEntries_->ramDisks()] {
        self->qv_recoverRamDiskEntries(*entries, disks);
      });
}

void AppDelegate::qv_recoverRamDiskEntries(QVRamDiskEntries& entries, const Disks& disks) {
  for (const auto& disk : disks)
    if (!stopRecovery_) recover(entries, disk);
  recovering_ = false;
  services().mainLoop->post([self = shared_from_this()] { self->mt_recoveredDidEnd(); });
}

// The lock is held from the look on: what is found stays so until the disk is made.
void AppDelegate::recover(QVRamDiskEntries& entries, const QVRamDiskPtr& disk) {
  if (disk->status() == QVRamDiskStatus_mounted) return;
  const auto lock = lockOf(*disk);
  if (!lock || !finishCutOffActions(disk, *lock)) return;
  if (disk->status() != QVRamDiskStatus_notCreated || !disk->createAtLogin()) return;
  noteRecovered(disk);
  ActionTerms terms(*lock);
  terms.atLogin = true;
  disk->performAction(QVRamDiskActionCreate, entries.shared_from_this(), 0, std::move(terms));
}

// Another helper that makes the disk and was asked to end is waited for. Null when the disk is left
// to who works on it.
std::optional<ActionLock> AppDelegate::lockOf(const QVRamDisk& disk) const {
  const int passes = disk.createAtLogin() ? kOthersPasses : 0;
  for (int pass = 0; !stopRecovery_ && pass <= passes; ++pass) {
    if (pass > 0) services().mainLoop->sleep(kPass);
    if (auto lock = ActionLock::takeIfFree(disk.identifier())) return lock;
    if (pass == 0 || pass == kOthersPasses)
      QVLogWarning("AppDelegate", "{}: another program is working on it ({})", QVText(disk.name()),
                   ActionLock::holderOf(disk.identifier()));
  }
  return std::nullopt;
}

// NO when something could not be put right: then nothing is mounted over it.
bool AppDelegate::finishCutOffActions(const QVRamDiskPtr& disk, const ActionLock& lock) {
  QVErrorPtr error;
  const auto findings = recoverCutOffActions(disk, lock, error);
  for (const auto& finding : findings) QVLogWarning("AppDelegate", "{}", finding.text);
  if (!findings.empty()) noteRecovered(disk);
  if (error)
    QVLogError("AppDelegate", "recoverCutOffActions {} error:{}", QVText(disk->name()),
               QVDescription(error));
  return !error;
}

void AppDelegate::noteRecovered(const QVRamDiskPtr& disk) {
  const std::lock_guard lock(mutex_);
  recovered_.push_back(disk);
}

void AppDelegate::mt_recoveredDidEnd() {
  if (!ramDiskEntries_) return;
  if (ramDiskEntries_->hasRunningAction()) {
    QVLogError("AppDelegate", "hasRunningAction==YES");
    ramDiskEntries_->waitingEndAll();
  }
  saveStartUpRegistry();
  ramDiskEntries_ = nullptr;
  if (statusMenuController_) return keeper_.readAgain();
  stay();
  if (!options_.service && !keeper_.isNeeded()) terminate();
}

// What others changed in the file since it was read stays: making the disks may have taken long.
// A failure is logged; the next start finds the disks.
void AppDelegate::saveStartUpRegistry() {
  const std::lock_guard lock(mutex_);
  ramDiskEntries_->saveStatesOf(recovered_);
}

bool AppDelegate::applicationShouldTerminate() {
  stopRecovery_ = true;
  if (statusMenuController_) statusMenuController_->wantTerminate();
  waitForRecovery();
  if (keeper_.isStarted()) keeper_.saveAndWait();
  return true;
}

// No further disk is begun. The list is saved here, because the loop that would do it stops.
void AppDelegate::waitForRecovery() {
  if (!ramDiskEntries_ || options_.fromApp) return;
  for (int pass = 0; isRecovering() && pass < kBusyPasses; ++pass)
    services().mainLoop->sleep(kPass);
  saveStartUpRegistry();
  if (isRecovering()) return;
  ramDiskEntries_ = nullptr;
  stay();
}

void AppDelegate::terminate() {
  if (terminating_) return;
  terminating_ = true;
  if (applicationShouldTerminate()) services().mainLoop->stop();
}
