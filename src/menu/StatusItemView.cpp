#include "menu/StatusItemView.h"

#include <cmath>

#include "core/QVLocalized.h"
#include "platform/Services.h"
#include "system/QVFunctions.h"
#include "system/QVMacInfo.h"

namespace menu {

using platform::Canvas;
using platform::Colour;
using platform::Compositing;
using platform::ImagePtr;
using platform::Point;

namespace {

enum Slot : std::size_t { kColour, kPlain, kPressed };

ImagePtr named(std::string_view name) { return platform::services().graphics->imageNamed(name); }

}  // namespace

std::shared_ptr<StatusItemView> StatusItemView::initWithDelegate(
    const std::shared_ptr<StatusItemViewDelegate>& delegate) {
  struct Constructible : StatusItemView {};
  auto view = std::make_shared<Constructible>();
  view->delegate_ = delegate;
  view->setNeedsDisplay();
  return view;
}

void StatusItemView::updateStatusImages() {
  isDarkMode_ = QV_OSAppearance::isDarkMode();
  images_[kColour] = named("TarnvaleStatusItemColor");
  images_[kPlain] = named(isDarkMode_ ? "TarnvaleStatusItemWhite" : "TarnvaleStatusItemBlack");
  images_[kPressed] = named("TarnvaleStatusItemPressed");
}

void StatusItemView::setBadgeStyle(std::int64_t style) {
  badgeStyle_ = style;
  updateStatusImages();
  setNeedsDisplay();
}

void StatusItemView::setIsPressed(bool pressed) {
  isPressed_ = pressed;
  setNeedsDisplay();
}

void StatusItemView::setIsWarn(bool warn) {
  isWarn_ = warn;
  setNeedsDisplay();
}

void StatusItemView::mouseDown() {
  ++pressedCount_;
  rightMouseDown();
}

void StatusItemView::rightMouseDown() {
  setIsPressed(true);
  if (const auto told = delegate_.lock()) told->statusItemViewPressed(*this);
}

std::string StatusItemView::accessibleName() const {
  const auto known = platform::services().bundle->information("CFBundleName");
  std::string name = known.value_or(QVFunctions::appName());
  if (!isWarn_) return name;
  return QVLocalizedFormat("%@, %@", {name, QVLocalized("A RAM disk is nearly full")});
}

ImagePtr StatusItemView::chosenImage() const {
  if (isPressed_) return images_[kPressed];
  return images_[badgeStyle_ == 1 || badgeStyle_ == 2 ? kPlain : kColour];
}

// The silhouette: what the image leaves transparent takes the red away again.
ImagePtr StatusItemView::inRed(const ImagePtr& image) const {
  const auto size = image->size();
  return platform::services().graphics->makeImage(size, [image, size](Canvas& canvas) {
    canvas.fill({0, 0, size.width, size.height}, Colour::rgb(1, 0, 0));
    canvas.draw(image, Point{0, 0}, Compositing::DestinationAtop, 1);
  });
}

// A change of the desktop's look shows at the next drawing.
void StatusItemView::drawRect(Canvas& canvas) {
  if (isPressed_) canvas.fill(bounds(), Colour::of(Colour::Source::SelectedMenuItem));
  if (!images_[kColour] || isDarkMode_ != QV_OSAppearance::isDarkMode()) updateStatusImages();
  const ImagePtr image = chosenImage();
  if (!image) return;
  const Point at{std::floor((frame().width - image->size().width) * 0.5),
                 std::floor((frame().height - image->size().height) * 0.5)};
  canvas.draw(isWarn_ && !isPressed_ ? inRed(image) : image, at, Compositing::SourceOver, 1);
}

}  // namespace menu
