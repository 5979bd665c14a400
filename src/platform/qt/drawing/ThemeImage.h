#pragma once

#include <QStringList>

#include "platform/qt/drawing/QtImage.h"

namespace platform::qt {

// A picture of the desktop's icon theme. What the theme has is found out when it is drawn, on the
// main thread.
class ThemeImage : public QtImage {
 public:
  static constexpr double kSize = 32;  // points; as any other it is rendered sharp

  struct Choice {
    QStringList names{};   // icons of the theme or absolute paths, the best first
    QString type{};        // tried next: a content type or an extension
    ImagePtr otherwise{};  // where the theme has none of these
  };

  explicit ThemeImage(Choice choice) : QtImage({kSize, kSize}), choice_(std::move(choice)) {}

 protected:
  QImage rendered(QSize pixels, double scale) const override;

 private:
  const Choice choice_;
};

// A sheet of paper, for anything that has no picture of its own.
void drawSheet(Canvas& canvas);

}  // namespace platform::qt
