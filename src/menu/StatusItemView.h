#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "menu/View.h"
#include "platform/Canvas.h"

namespace menu {

class StatusItemView;

class StatusItemViewDelegate {
 public:
  virtual ~StatusItemViewDelegate() = default;
  virtual void statusItemViewPressed(StatusItemView& view) = 0;
};

// The program's icon in the status bar: in colour or plain, pressed while the menu is open, red
// while a disk is nearly full. Made without a size; the status item gives it one.
class StatusItemView : public View {
 public:
  static std::shared_ptr<StatusItemView> initWithDelegate(
      const std::shared_ptr<StatusItemViewDelegate>& delegate);

  void updateStatusImages();
  void setBadgeStyle(std::int64_t style);  // 1 and 2 are plain, all others in colour
  std::int64_t badgeStyle() const { return badgeStyle_; }
  void setIsPressed(bool pressed);
  bool isPressed() const { return isPressed_; }
  void setIsWarn(bool warn);
  bool isWarn() const { return isWarn_; }

  std::string accessibleName() const override;

  void mouseDown() override;
  void rightMouseDown() override;

 protected:
  StatusItemView() : View({}) {}
  void drawRect(platform::Canvas& canvas) override;

 private:
  platform::ImagePtr chosenImage() const;
  platform::ImagePtr inRed(const platform::ImagePtr& image) const;

  // Not kept alive: the delegate owns the status item, which owns this.
  std::weak_ptr<StatusItemViewDelegate> delegate_;
  std::int64_t badgeStyle_ = 0;
  bool isPressed_ = false;
  std::uint64_t pressedCount_ = 0;
  bool isDarkMode_ = false;                   // when the images were loaded
  std::array<platform::ImagePtr, 4> images_;  // colour, plain, pressed, unused
  bool isWarn_ = false;
};

}  // namespace menu
