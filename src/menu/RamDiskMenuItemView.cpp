#include "menu/RamDiskMenuItemView.h"

#include <algorithm>
#include <cmath>

#include "core/QVLocalized.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "system/QVOSAppearance.h"

namespace menu {

using platform::Colour;
using platform::Rect;

namespace {

constexpr char kTable[] = "QVRamDiskLocalizable";
constexpr double kMargin = 6;  // left of the spinner
constexpr double kSpinnerSize = 14;
constexpr double kIconSize = 32;

// "25 percent full", for who hears it.
std::string fullness(double usage) {
  const auto percent = std::lround(std::clamp(usage, 0., 1.) * 100);
  return QVLocalizedFormat("%@ percent full", {std::to_string(percent)}, kTable);
}

std::string listed(std::string_view first, std::string_view second) {
  return second.empty() ? std::string(first) : QVLocalizedFormat("%@, %@", {first, second});
}

}  // namespace

RamDiskMenuItemView::RamDiskMenuItemView(Rect frame, const QVRamDisk& ramDisk,
                                         QVRamDiskAction action, QVRamDiskActionInfo lastActionInfo)
    : View(frame),
      status_(ramDisk.status()),
      action_(action),
      diskUsage_(ramDisk.diskUsage()),
      isDarkMode_(QV_OSAppearance::isDarkMode()),
      isGraphiteTheme_(QV_OSAppearance::isGraphiteTheme()),
      displayStatus_(ramDisk.displayStatus()),
      iconRect_{24, std::rint((frame.height - kIconSize) * 0.5), kIconSize, kIconSize},
      icon_(ramDisk.displayIcon(kIconSize)) {
  resizesWithWidth = true;
  addTitle(ramDisk.displayName().value_or(""));
  if (action != QVRamDiskActionNone) addProgress(lastActionInfo);
}

RamDiskMenuItemView::~RamDiskMenuItemView() {
  if (progressIndicator_) progressIndicator_->needsDisplay = nullptr;
}

// The title of a disk that is backed up stands higher than that of any other.
void RamDiskMenuItemView::addTitle(const std::string& name) {
  const double x = iconRect_.right() + 4;
  const double y = action_ == QVRamDiskActionBackup ? 15 : 12;
  titleLabel_ = std::make_shared<TextField>(Rect{x, y, frame().width - x - 20, 18}, name,
                                            platform::TextStyle{.font = {12}});
  addSubview(titleLabel_);
}

void RamDiskMenuItemView::addProgress(QVRamDiskActionInfo info) {
  progressIndicator_ = std::make_shared<ProgressIndicator>(
      Rect{kMargin, std::rint((frame().height - kSpinnerSize) * 0.5), kSpinnerSize, kSpinnerSize});
  progressIndicator_->needsDisplay = [this] { setNeedsDisplay(); };
  addSubview(progressIndicator_);

  const Rect title = titleLabel_->frame();
  infoLabel_ = std::make_shared<TextField>(
      Rect{title.x, 1, title.width, 14},
      QVRamDiskManager::displayStringFromAction(action_, info).value_or(""),
      platform::TextStyle{.font = {11}, .colour = Colour::of(Colour::Source::SecondaryText)});
  addSubview(infoLabel_);
}

// Later, because a menu is about to follow the mouse when this is called. The row may be gone by
// then.
void RamDiskMenuItemView::updateForDisplay(bool shown) {
  if (!progressIndicator_) return;
  platform::services().mainLoop->after(
      std::chrono::milliseconds(0), [weak = std::weak_ptr(progressIndicator_), shown] {
        const auto spinner = weak.lock();
        if (!spinner) return;
        shown ? spinner->startAnimation() : spinner->stopAnimation();
      });
}

std::string RamDiskMenuItemView::accessibleName() const {
  if (action_ != QVRamDiskActionNone) return listed(title(), infoLabel_->text);
  const std::string named = listed(title(), displayStatus_);
  return status_ == QVRamDiskStatus_mounted ? listed(named, fullness(diskUsage_)) : named;
}

}  // namespace menu
