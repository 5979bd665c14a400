#include "platform/qt/drawing/QtAppearance.h"

#include <QApplication>
#include <QPalette>

#include "system/QVMacInfo.h"

namespace platform::qt {
namespace {

constexpr std::string_view kStyle = "AppleInterfaceStyle";
constexpr char kDark[] = "Dark";

bool hasDarkColours() {
  const QPalette palette = QApplication::palette();
  return palette.color(QPalette::Window).lightness() <
         palette.color(QPalette::WindowText).lightness();
}

// From this one the toolkit derives all shades.
QPalette darkColours() {
  const QColor ground(0x2D, 0x2D, 0x2F);
  const QColor field(0x1F, 0x1F, 0x21);
  const QColor text(0xEE, 0xEE, 0xEE);
  const QColor faint(0x8A, 0x8A, 0x8C);
  QPalette palette(text, QColor(0x3A, 0x3A, 0x3D), QColor(0x55, 0x55, 0x58), field,
                   QColor(0x45, 0x45, 0x48), text, Qt::white, field, ground);
  palette.setColor(QPalette::AlternateBase, ground);
  palette.setColor(QPalette::Highlight, QColor(0x2A, 0x6F, 0xC9));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::Link, QColor(0x6C, 0xA8, 0xF5));
  palette.setColor(QPalette::PlaceholderText, faint);
  palette.setColor(QPalette::ToolTipBase, field);
  palette.setColor(QPalette::ToolTipText, text);
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
    palette.setColor(QPalette::Disabled, role, faint);
  return palette;
}

}  // namespace

QtAppearance::QtAppearance(std::shared_ptr<Defaults> others)
    : others_(std::move(others)), toolkitIsDark_(hasDarkColours()) {}

QtAppearance::QtAppearance(std::shared_ptr<Defaults> others, bool isDark)
    : others_(std::move(others)), toolkitIsDark_(false), fixed_(isDark) {}

std::optional<std::string> QtAppearance::string(std::string_view key) const {
  if (key != kStyle) return others_->string(key);
  if (fixed_) return *fixed_ ? std::optional<std::string>(kDark) : std::nullopt;
  return toolkitIsDark_ ? kDark : others_->string(key);
}

void followAppearance() {
  const bool isDark = QV_OSAppearance::isDarkMode();
  if (isDark == hasDarkColours()) return;
  QApplication::setPalette(isDark ? darkColours() : QPalette());
}

}  // namespace platform::qt
