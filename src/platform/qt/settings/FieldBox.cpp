#include "platform/qt/settings/FieldBox.h"

#include <QComboBox>
#include <QVBoxLayout>

namespace platform::qt {
namespace {

void makeSmall(QLabel& line) {
  constexpr double kSmaller = 0.9;
  QFont font = line.font();
  font.setPointSizeF(font.pointSizeF() * kSmaller);
  line.setFont(font);
}

void showIn(QLabel& line, const QString& text) {
  line.setText(text);
  line.setVisible(!text.isEmpty());
}

}  // namespace

FieldBox::FieldBox(QWidget* editor, const QString& name, QWidget* parent)
    : QWidget(parent),
      editor_(editor),
      problem_(new ToneLabel(ToneLabel::Tone::Problem, this)),
      note_(new ToneLabel(ToneLabel::Tone::Quiet, this)) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(2);
  const bool isChoice = qobject_cast<QComboBox*>(editor) != nullptr;
  column->addWidget(editor, 0, isChoice ? Qt::AlignLeft : Qt::Alignment());
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);  // room for the lines
  problem_->setObjectName(name + "Problem");
  note_->setObjectName(name + "Note");
  for (auto* line : {problem_, note_}) {
    makeSmall(*line);
    column->addWidget(line);
    line->hide();
  }
}

// A screen reader tells it with the field.
void FieldBox::setProblem(const QString& text) {
  if (problem_->text() == text) return;
  QWidget* field = editor_->focusProxy() ? editor_->focusProxy() : editor_;
  field->setAccessibleDescription(text);
  showIn(*problem_, text);
}

void FieldBox::setNote(const QString& text) {
  if (note_->text() != text) showIn(*note_, text);
}

}  // namespace platform::qt
