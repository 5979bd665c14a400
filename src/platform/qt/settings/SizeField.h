#pragma once

#include <QLineEdit>
#include <QWidget>
#include <cstdint>

#include "platform/qt/settings/Choice.h"

namespace platform::qt {

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

}  // namespace platform::qt
