#pragma once

#include <QColor>
#include <QLabel>
#include <QPalette>
#include <QString>
#include <optional>
#include <string>

#include "platform/qt/QtText.h"

namespace platform::qt {

inline QString qtText(const std::optional<std::string>& text) {
  return qtText(text.value_or(std::string()));
}

inline bool isDark(const QPalette& palette) {
  return palette.color(QPalette::Window).lightness() <
         palette.color(QPalette::WindowText).lightness();
}

// What is wrong is written in red that can be read on the window's ground.
inline QColor problemColor(const QPalette& palette) {
  return isDark(palette) ? QColor(0xFF, 0x8A, 0x80) : QColor(0xB3, 0x26, 0x1E);
}

// Less important than the text around it.
inline QColor quietColor(const QPalette& palette) {
  QColor color = palette.color(QPalette::WindowText);
  constexpr float kShare = 0.62F;
  color.setAlphaF(kShare);
  return color;
}

// A text on a ground of its own, tinted.
inline void makePanel(QLabel& label, QColor tint) {
  constexpr int kTint = 40;  // of 255
  constexpr char kSheet[] = "background: %1; border-radius: 6px; padding: 8px;";
  tint.setAlpha(kTint);
  label.setStyleSheet(QString::fromLatin1(kSheet).arg(QStringLiteral("rgba(%1, %2, %3, %4)")
                                                          .arg(tint.red())
                                                          .arg(tint.green())
                                                          .arg(tint.blue())
                                                          .arg(tint.alpha())));
}

}  // namespace platform::qt
