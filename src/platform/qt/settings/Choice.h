#pragma once

#include <QComboBox>
#include <QStandardItemModel>
#include <cstdint>

namespace platform::qt {

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
