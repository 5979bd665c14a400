#pragma once

#include <memory>
#include <string>

#include "menu/View.h"
#include "ramdisk/QVRamDisk.h"

namespace menu {

// The row of one disk: its icon, name, and how full it is, or what is being done to it. It shows
// the record as it was when the row was made.
class RamDiskMenuItemView : public View {
 public:
  RamDiskMenuItemView(platform::Rect frame, const QVRamDisk& ramDisk, QVRamDiskAction action,
                      QVRamDiskActionInfo lastActionInfo);
  ~RamDiskMenuItemView() override;

  // Starts or stops the spinner, when the main loop comes to it.
  void updateForDisplay(bool shown);

  // Null unless an action ran.
  const std::shared_ptr<ProgressIndicator>& progressIndicator() const { return progressIndicator_; }

  // The pie: `usage` is the fraction in use, less than 0 and more
  // than 1 stand for those.
  static void drawDiskUsage(platform::Canvas& canvas, double usage, platform::Point atPoint,
                            bool isHighlighted);

  // The row as texts, for who cannot see it: name, then state and fullness or what is being done.
  const std::string& title() const { return titleLabel_->text; }
  std::string accessibleName() const override;

 protected:
  void drawRect(platform::Canvas& canvas) override;

 private:
  void addTitle(const std::string& name);
  void addProgress(QVRamDiskActionInfo info);
  void styleTitle(bool highlighted);
  bool isHighlighted() const;

  const QVRamDiskStatus status_;
  const QVRamDiskAction action_;
  const double diskUsage_;
  const bool isDarkMode_;
  const bool isGraphiteTheme_;
  const std::string displayStatus_;
  std::shared_ptr<ProgressIndicator> progressIndicator_;
  platform::Rect iconRect_;
  platform::ImagePtr icon_;
  std::shared_ptr<TextField> titleLabel_;
  std::shared_ptr<TextField> infoLabel_;
};

}  // namespace menu
