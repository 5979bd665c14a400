#include "platform/qt/settings/SizeField.h"

#include <QHBoxLayout>

#include "core/QVLocalized.h"
#include "platform/qt/settings/Texts.h"
#include "settings/SizeParts.h"

namespace platform::qt {

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

}  // namespace platform::qt
