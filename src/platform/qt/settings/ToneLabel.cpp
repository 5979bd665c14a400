#include "platform/qt/settings/ToneLabel.h"

#include <QApplication>
#include <QEvent>

#include "platform/qt/settings/Texts.h"

namespace platform::qt {

ToneLabel::ToneLabel(Tone tone, QWidget* parent) : QLabel(parent), tone_(tone) {
  setWordWrap(true);
  setTextInteractionFlags(Qt::TextSelectableByMouse);
  takeColor();
}

// Taking a color is a change of the palette too.
void ToneLabel::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (event->type() == QEvent::PaletteChange && !coloring_) takeColor();
}

void ToneLabel::takeColor() {
  coloring_ = true;
  QPalette colors = QApplication::palette();
  colors.setColor(QPalette::WindowText,
                  tone_ == Tone::Problem ? problemColor(colors) : quietColor(colors));
  setPalette(colors);
  coloring_ = false;
}

}  // namespace platform::qt
