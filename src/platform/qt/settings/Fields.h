#pragma once
// What the pages of the window are made of.

#include <QColor>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPalette>
#include <QStandardItemModel>
#include <QString>
#include <QWidget>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/qt/QtText.h"

class QPushButton;

namespace platform::qt {

// What is wrong is written in red that can be read on the window's ground.
QColor problemColor(const QPalette& palette);

// A text on a ground of its own, tinted.
void makePanel(QLabel& label, QColor tint);

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

// A number and its unit.
class SizeField : public QWidget {
 public:
  explicit SizeField(QWidget* parent);

  QLineEdit* number() const { return number_; }
  QComboBox* unit() const { return unit_; }
  std::uint64_t bytes() const;  // 0 for what is no size
  void setBytes(std::uint64_t bytes);

 private:
  QLineEdit* number_;
  QComboBox* unit_;
};

// A directory that is typed or chosen.
class PathField : public QWidget {
 public:
  PathField(const QString& name, QWidget* parent);

  QLineEdit* edit() const { return edit_; }
  // What is written, with the home directory for a tilde and for what is not absolute; nullopt for
  // nothing.
  std::optional<std::string> path() const;
  // Nothing happens when it says that already.
  void setPath(const std::optional<std::string>& path);
  void setAbsent(const QString& text) { edit_->setPlaceholderText(text); }

 private:
  void choose();

  QLineEdit* edit_;
  QPushButton* button_;
};

// A box of choices, each with a number of its own.
class Choice : public QComboBox {
 public:
  using QComboBox::QComboBox;

  void add(const QString& text, std::int64_t value) {
    addItem(text, QVariant::fromValue<qlonglong>(value));
  }
  std::int64_t value() const { return currentData().toLongLong(); }
  void setValue(std::int64_t value) {
    setCurrentIndex(findData(QVariant::fromValue<qlonglong>(value)));
  }
  // A choice that cannot be made says why.
  void setEnabled(std::int64_t value, bool enabled, const QString& why = {}) {
    auto* item = qobject_cast<QStandardItemModel*>(model())->item(
        findData(QVariant::fromValue<qlonglong>(value)));
    if (!item) return;
    item->setEnabled(enabled);
    item->setToolTip(why);
    item->setAccessibleDescription(why);
  }
  using QComboBox::setEnabled;
};

}  // namespace platform::qt
