#include "menu/RamDiskMenuItemView.h"

#include <algorithm>
#include <cmath>

#include "core/QVLocalized.h"
#include "kinds/QVRamDiskManager.h"
#include "menu/Menu.h"
#include "platform/Services.h"
#include "system/QVMacInfo.h"

namespace menu {

using platform::Canvas;
using platform::Colour;
using platform::Compositing;
using platform::Path;
using platform::Point;
using platform::Rect;

namespace {

constexpr char kTable[] = "QVRamDiskLocalizable";
constexpr double kMargin = 6;  // left of the spinner, and of the pie in its place
constexpr double kSpinnerSize = 14;
constexpr double kIconSize = 32;
constexpr double kPieSize = 16;
constexpr double kRingSize = 14;
constexpr double kTriangleSize = 9;
constexpr double kRightMargin = 21;  // from the triangle's left edge

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

bool RamDiskMenuItemView::isHighlighted() const {
  const auto item = enclosingMenuItem.lock();
  return item && item->isHighlighted;
}

void RamDiskMenuItemView::drawRect(Canvas& canvas) {
  const bool highlighted = isHighlighted();
  const double height = bounds().height;
  if (highlighted)
    canvas.fill(bounds(), isDarkMode_ && isGraphiteTheme_
                              ? Colour::white(0.5, 0.5)
                              : Colour::of(Colour::Source::SelectedMenuItem));
  canvas.draw(icon_, iconRect_, {0, 0, iconRect_.width, iconRect_.height}, Compositing::SourceOver,
              1);
  styleTitle(highlighted);
  if (status_ == QVRamDiskStatus_mounted && action_ == QVRamDiskActionNone)
    drawDiskUsage(canvas, diskUsage_, {kMargin, std::floor((height - kPieSize) * 0.5)},
                  highlighted);
  const Rect triangle{bounds().width - kRightMargin, std::floor((height - kTriangleSize) * 0.5),
                      kTriangleSize, kTriangleSize};
  canvas.fill(qv_bezierPathTriangleInRect(triangle, 'r'),
              Colour::white(isDarkMode_ || highlighted ? 1 : 0));
}

// Before the label draws itself.
void RamDiskMenuItemView::styleTitle(bool highlighted) {
  const auto item = enclosingMenuItem.lock();
  const auto enclosing = item ? item->menu.lock() : nullptr;
  if (enclosing) titleLabel_->style.font = enclosing->font;
  titleLabel_->style.colour = highlighted ? Colour::of(Colour::Source::SelectedMenuItemText)
                              : QVMacInfo::isYosemiteOrBetter() ? Colour::of(Colour::Source::Text)
                                                                : Colour::white(0);
}

// A ring, filled clockwise from twelve o'clock on.
void RamDiskMenuItemView::drawDiskUsage(Canvas& canvas, double usage, Point atPoint,
                                        bool isHighlighted) {
  const Colour colour =
      isHighlighted ? Colour::white(1) : Colour::rgb(155. / 255, 180. / 255, 212. / 255);
  const Rect circle{atPoint.x + 1, atPoint.y + 1, kRingSize, kRingSize};
  Path oval;
  oval.lineWidth = 2;
  oval.appendOval(circle);
  canvas.stroke(oval, colour);
  if (usage <= 0) return;
  if (usage >= 1) return canvas.fill(oval, colour);

  const double radius = std::floor(circle.width * 0.5);
  const Point centre{std::floor(circle.x + 7), std::floor(circle.y + 7)};
  Path wedge;
  wedge.moveTo(centre);
  wedge.appendArc(centre, radius, 90, 90 - 360 * usage, true);
  wedge.close();
  canvas.fill(wedge, colour);
}

}  // namespace menu
