#include "platform/qt/settings/Fields.h"

#include <QApplication>
#include <QEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/QVLocalized.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "settings/TypedText.h"
#include "system/RealPath.h"

namespace platform::qt {
namespace {

bool isDark(const QPalette& palette) {
  return palette.color(QPalette::Window).lightness() <
         palette.color(QPalette::WindowText).lightness();
}

// Less important than the text around it.
QColor quietColor(const QPalette& palette) {
  QColor color = palette.color(QPalette::WindowText);
  constexpr float kShare = 0.62F;
  color.setAlphaF(kShare);
  return color;
}

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

std::string home() { return services().places->home().value_or("/"); }

}  // namespace

QColor problemColor(const QPalette& palette) {
  return isDark(palette) ? QColor(0xFF, 0x8A, 0x80) : QColor(0xB3, 0x26, 0x1E);
}

void makePanel(QLabel& label, QColor tint) {
  constexpr int kTint = 40;  // of 255
  constexpr char kSheet[] = "background: %1; border-radius: 6px; padding: 8px;";
  tint.setAlpha(kTint);
  label.setStyleSheet(QString::fromLatin1(kSheet).arg(QStringLiteral("rgba(%1, %2, %3, %4)")
                                                          .arg(tint.red())
                                                          .arg(tint.green())
                                                          .arg(tint.blue())
                                                          .arg(tint.alpha())));
}

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

SizeField::SizeField(QWidget* parent)
    : QWidget(parent), number_(new QLineEdit(this)), unit_(new QComboBox(this)) {
  constexpr int kWidth = 130;
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(number_);
  row->addWidget(unit_);
  row->addStretch(1);
  number_->setMaximumWidth(kWidth);
  number_->setObjectName("size");
  unit_->setObjectName("sizeUnit");
  unit_->setAccessibleName(qtText(QVLocalized("Unit of the size")));
  for (const char* unit : settings::kSizeUnits) unit_->addItem(unit);
  setFocusProxy(number_);
}

std::uint64_t SizeField::bytes() const {
  const std::string unit = plainText(unit_->currentText());
  return settings::bytesOfParts(plainText(number_->text()), unit).value_or(0);
}

void SizeField::setBytes(std::uint64_t bytes) {
  const auto parts = settings::sizeParts(bytes);
  unit_->setCurrentText(qtText(parts.unit));
  number_->setText(qtText(parts.number));
}

PathField::PathField(const QString& name, QWidget* parent)
    : QWidget(parent), edit_(new QLineEdit(this)), button_(new QPushButton(this)) {
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(edit_, 1);
  row->addWidget(button_);
  edit_->setObjectName(name);
  button_->setObjectName(name + "Choose");
  button_->setText(qtText(QVLocalized("Choose…")));
  setFocusProxy(edit_);
  QObject::connect(button_, &QPushButton::clicked, this, [this] { choose(); });
}

std::optional<std::string> PathField::path() const {
  const std::string text = plainText(edit_->text());
  if (text.empty()) return std::nullopt;
  const std::string whole = settings::expandedPath(text);
  return realPath(whole.starts_with('/') ? whole
                                         : extensions::appendingPathComponent(home(), whole));
}

void PathField::setPath(const std::optional<std::string>& shown) {
  if (shown == path()) return;
  edit_->setText(shown ? qtText(extensions::abbreviatingWithTilde(*shown, home())) : QString());
}

void PathField::choose() {
  const QString from = qtText(path().value_or(home()));
  const QString chosen = QFileDialog::getExistingDirectory(this, {}, from);
  if (!chosen.isEmpty()) setPath(plainText(chosen));
}

}  // namespace platform::qt
