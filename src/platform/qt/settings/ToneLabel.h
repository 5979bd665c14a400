#pragma once

#include <QLabel>

namespace platform::qt {

// A text in a tone that follows the desktop's colours, dark or light, as they change.
class ToneLabel : public QLabel {
 public:
  enum class Tone { Quiet, Problem };

  ToneLabel(Tone tone, QWidget* parent);

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void takeColor();

  Tone tone_;
  bool coloring_ = false;
};

}  // namespace platform::qt
