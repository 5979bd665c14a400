#pragma once
// What draws itself in the status item and in menu rows. Main thread only.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/Canvas.h"

namespace menu {

class MenuItem;

// A rectangle that draws itself, then its parts. Coordinates grow to the right and upwards from the
// bottom left corner of the view that a frame is in.
class View {
 public:
  explicit View(platform::Rect frame) : frame_(frame) {}
  virtual ~View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  platform::Rect frame() const { return frame_; }
  platform::Rect bounds() const { return {0, 0, frame_.width, frame_.height}; }

  // Parts that resize with the width grow and shrink by as much.
  void setFrameSize(platform::Size size);
  bool resizesWithWidth = false;

  // Draws the view and its parts with its own origin as the canvas's.
  void display(platform::Canvas& canvas);

  // The shell shows the view anew whenever this is called.
  void setNeedsDisplay() const {
    if (needsDisplay) needsDisplay();
  }
  std::function<void()> needsDisplay;  // the shell's to set

  const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }

  virtual void mouseDown() {}
  virtual void rightMouseDown() {}

  // The item whose view this is, null outside a menu. Set by the shell's or the controller's hand.
  std::weak_ptr<MenuItem> enclosingMenuItem;

  // What a screen reader says of it, empty for nothing.
  virtual std::string accessibleName() const { return {}; }

 protected:
  virtual void drawRect(platform::Canvas& canvas) = 0;
  void addSubview(std::shared_ptr<View> view) { subviews_.push_back(std::move(view)); }

 private:
  platform::Rect frame_;
  std::vector<std::shared_ptr<View>> subviews_;
};

// One line of text that is not edited, without background.
class TextField : public View {
 public:
  TextField(platform::Rect frame, std::string shown, platform::TextStyle look)
      : View(frame), text(std::move(shown)), style(look) {
    resizesWithWidth = true;
  }

  std::string text;
  platform::TextStyle style;

 protected:
  void drawRect(platform::Canvas& canvas) override { canvas.draw(text, bounds(), style); }
};

// A spinner. It is drawn also while it stands still.
class ProgressIndicator : public View {
 public:
  using View::View;

  void startAnimation() { isAnimating_ = true, setNeedsDisplay(); }
  void stopAnimation() { isAnimating_ = false, setNeedsDisplay(); }
  bool isAnimating() const { return isAnimating_; }

  // One of kSteps positions in a turn; the shell advances the animated ones, kSteps a second.
  static constexpr int kSteps = 12;
  void advance() { step_ = (step_ + 1) % kSteps; }
  int step() const { return step_; }

 protected:
  void drawRect(platform::Canvas& canvas) override;

 private:
  bool isAnimating_ = false;
  int step_ = 0;
};

// A closed triangle that fills the rectangle and points right ('r'), down ('b') or up ('t');
// capital letters do as well. Any other letter gives an empty path.
platform::Path qv_bezierPathTriangleInRect(platform::Rect rect, char sens);

// A balloon with round corners and an arrow in the middle of its upper edge, within the rectangle.
// Every corner is round and the arrow is always there, whatever `corners` and `arrowPosition` say.
platform::Path bezierPathWithRoundedRect(platform::Rect rect, double borderLineWidth,
                                         std::uint64_t corners, double cornerRadius,
                                         std::int64_t arrowPosition, platform::Size arrowSize);

}  // namespace menu
