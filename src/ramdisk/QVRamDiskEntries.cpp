#include "ramdisk/QVRamDiskEntries.h"

#include <algorithm>
#include <chrono>

#include "core/QVHelpers.h"
#include "core/QVLog.h"
#include "platform/Services.h"
#include "system/LoginItems.h"
#include "system/QVRamDiskUtils.h"

namespace {

using namespace std::chrono_literals;
using platform::services;

constexpr auto kRefreshInterval = 1000ms;
constexpr auto kWaitPass = 250ms;
constexpr long kWaitCounter = 121;  // one more than the passes waited

std::vector<QVRamDiskPtr>::const_iterator positionOf(const QVRamDiskPtr& ramDisk,
                                                     const std::vector<QVRamDiskPtr>& among) {
  return std::find_if(among.begin(), among.end(),
                      [&](const auto& candidate) { return candidate->isEqual(ramDisk); });
}

}  // namespace

std::shared_ptr<QVRamDiskEntries> QVRamDiskEntries::init() { return initWithDelegate(nullptr); }

std::shared_ptr<QVRamDiskEntries> QVRamDiskEntries::initWithDelegate(
    std::shared_ptr<QVRamDiskEntriesDelegate> delegate) {
  struct Constructible : QVRamDiskEntries {};
  auto entries = std::make_shared<Constructible>();
  entries->delegate_ = std::move(delegate);
  return entries;
}

QVRamDiskEntries::~QVRamDiskEntries() {
  if (updator_) services().mainLoop->cancel(*updator_);
}

QVRamDiskPtr QVRamDiskEntries::addRamDisk() {
  if (ramDisks_.size() >= kMostRamDisks) return nullptr;
  return ramDisks_.emplace_back(QVRamDisk::init());
}

QVRamDiskPtr QVRamDiskEntries::removeEntry(const QVRamDiskPtr& ramDisk) {
  const auto found = positionOf(ramDisk, ramDisks_);
  if (found != ramDisks_.end()) (*found)->deleteBackupDirs();
  return takeOut(ramDisk);
}

QVRamDiskPtr QVRamDiskEntries::takeOut(const QVRamDiskPtr& ramDisk) {
  const auto found = positionOf(ramDisk, ramDisks_);
  if (found == ramDisks_.end()) return nullptr;
  const auto index = found - ramDisks_.begin();
  ramDisks_.erase(found);
  if (ramDisks_.empty()) return nullptr;
  return ramDisks_[static_cast<std::size_t>(std::max<std::ptrdiff_t>(index - 1, 0))];
}

QVRamDiskPtr QVRamDiskEntries::ramDiskWithIdentifier(
    const std::optional<std::string>& identifier) const {
  const auto index = indexOfRamDiskWithIdentifier(identifier);
  return index < 0 ? nullptr : ramDisks_[static_cast<std::size_t>(index)];
}

std::int64_t QVRamDiskEntries::indexOfRamDiskWithIdentifier(
    const std::optional<std::string>& identifier) const {
  const auto found = std::find_if(ramDisks_.begin(), ramDisks_.end(), [&](const auto& ramDisk) {
    return identifier && ramDisk->identifier() == identifier;
  });
  return found == ramDisks_.end() ? -1 : found - ramDisks_.begin();
}

bool QVRamDiskEntries::setPositionIndex(std::int64_t index, const QVRamDiskPtr& ofRamDisk) {
  const auto count = static_cast<std::int64_t>(ramDisks_.size());
  if (index == kNotFound || index < 0 || index > count || !ofRamDisk || count == 0) return false;
  const auto current = indexOfRamDiskWithIdentifier(ofRamDisk->identifier());
  if (current < 0) return false;
  auto moved = ramDisks_;
  const auto at = [&](std::int64_t place) { return moved.begin() + place; };
  if (current > index) {
    std::rotate(at(index), at(current), at(current + 1));
  } else if (current < index) {
    std::rotate(at(current), at(current + 1), at(index));
  }
  ramDisks_ = std::move(moved);
  return true;
}

void QVRamDiskEntries::create(const QVRamDiskPtr& ramDisk, std::int64_t inBackground) {
  startAction(QVRamDiskActionCreate, ramDisk, inBackground);
}

void QVRamDiskEntries::eject(const QVRamDiskPtr& ramDisk, std::int64_t inBackground) {
  startAction(QVRamDiskActionEject, ramDisk, inBackground);
}

void QVRamDiskEntries::startAction(QVRamDiskAction action, const QVRamDiskPtr& forRamDisk,
                                   std::int64_t inBackground) {
  forRamDisk->performAction(action, shared_from_this(), inBackground);
}

void QVRamDiskEntries::ramDiskDidUpdated(const QVRamDiskPtr& ramDisk) {
  if (delegate_) delegate_->ramDiskEntries(*this, ramDisk);
}

void QVRamDiskEntries::ramDiskDidProgress(const QVRamDiskPtr& ramDisk,
                                          const QVRamDiskProgress& progress) {
  if (delegate_) delegate_->ramDiskEntriesProgress(*this, ramDisk, progress);
}

bool QVRamDiskEntries::hasRunningAction() const {
  return std::any_of(ramDisks_.begin(), ramDisks_.end(),
                     [](const auto& ramDisk) { return ramDisk->action() != QVRamDiskActionNone; });
}

void QVRamDiskEntries::waitingEndAll() {
  for (long counter = kWaitCounter; hasRunningAction() && counter > 1;) {
    QVLogInfo("QVRamDiskEntries", "Waiting {}", --counter);
    services().mainLoop->sleep(kWaitPass);
  }
}

void QVRamDiskEntries::setUpdator(std::int64_t run) {
  if (run == 1 && !updator_) {
    updator_ = services().mainLoop->every(kRefreshInterval, [this] { updatorAction(); });
  } else if (run == 0 && updator_) {
    services().mainLoop->cancel(*updator_);
    updator_.reset();
  }
}

// A record with a running action is left to it.
void QVRamDiskEntries::updatorAction() {
  if (isWaitingForFile_) saveStatesAtLast();
  for (const auto& ramDisk : ramDisks_)
    if (ramDisk->action() == QVRamDiskActionNone && ramDisk->update() && delegate_)
      delegate_->ramDiskEntriesUpdator(*this, ramDisk);
}

void QVRamDiskEntries::setNeedsSynchronizeHelper(bool) { needsSynchronizeHelper_ = true; }

void QVRamDiskEntries::synchronizeHelperAuto() {
  if (needsSynchronizeHelper_) synchronizeHelper();
}

bool QVRamDiskEntries::wantsHelperAtLogin() const {
  if (showInMenuBar_ && showInMenuBarAtLogin_) return true;
  return std::any_of(ramDisks_.begin(), ramDisks_.end(),
                     [](const auto& ramDisk) { return ramDisk->createAtLogin(); });
}

void QVRamDiskEntries::synchronizeHelper() {
  needsSynchronizeHelper_ = false;
  const auto helper = QVRamDiskUtils::helperURL();
  bool isValid = false;
  const bool isListed = QVSharedLoginItems::isLoginItem(helper, isValid);
  if (wantsHelperAtLogin()) {
    if (!isListed || !isValid) QVSharedLoginItems::addLoginItem(helper);
  } else if (isListed) {
    QVSharedLoginItems::removeLoginItem(helper);
  }
}

void QVRamDiskEntries::postDidChangeToAllNotificationWithSender(const std::string& sender) {
  services().notifications->post({QVRamDiskEntriesDidChangeToAllNotification, sender, {}});
}
