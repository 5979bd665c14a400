#pragma once

#include <QWidget>

#include "platform/qt/settings/ToneLabel.h"

namespace platform::qt {

// One setting: what it is edited with, and beneath it what is wrong with it and what is to say
// about it.
class FieldBox : public QWidget {
 public:
  // `name` becomes the object names of the lines beneath, with "Problem" and "Note" appended.
  FieldBox(QWidget* editor, const QString& name, QWidget* parent);

  void setProblem(const QString& text);  // empty: none
  void setNote(const QString& text);     // likewise

 private:
  QWidget* editor_;
  ToneLabel* problem_;
  ToneLabel* note_;
};

}  // namespace platform::qt
