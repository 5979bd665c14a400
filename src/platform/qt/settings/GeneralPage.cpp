#include "platform/qt/settings/GeneralPage.h"

#include <QFormLayout>

#include "core/QVLocalized.h"
#include "platform/qt/settings/Fields.h"
#include "settings/Edits.h"

namespace platform::qt {

GeneralPage::GeneralPage(settings::Registry& registry, Told told, QWidget* parent)
    : QWidget(parent), registry_(registry), told_(std::move(told)) {
  menuBar_ = new QCheckBox(qtText(QVLocalized("Show the RamDisks in the &menu bar")), this);
  atLogin_ = new QCheckBox(qtText(QVLocalized("Also from the next &login on")), this);
  icon_ = new Choice(this);
  icon_->add(qtText(QVLocalized("In colour")), 0);
  icon_->add(qtText(QVLocalized("Plain")), 1);
  saveAtEnd_ = new QCheckBox(
      qtText(QVLocalized("&Save the contents of RamDisks when the session ends")), this);
  layOut();
  menuBar_->setObjectName("menuBar");
  atLogin_->setObjectName("menuBarAtLogin");
  icon_->setObjectName("iconStyle");
  saveAtEnd_->setObjectName("saveAtSessionEnd");
  connectAll();
}

// What depends on the menu bar's switch stands beneath it.
void GeneralPage::layOut() {
  constexpr int kMargin = 20;
  auto* rows = new QFormLayout(this);
  rows->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
  rows->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
  auto* below = new QFormLayout;
  below->setContentsMargins(kMargin, 0, 0, 0);
  below->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
  below->addRow(atLogin_);
  below->addRow(qtText(QVLocalized("&Icon")), icon_);
  rows->addRow(menuBar_);
  rows->addRow(below);
  rows->addItem(new QSpacerItem(0, kMargin));
  rows->addRow(saveAtEnd_);
}

// Only what the user does counts: clicks and choices, not what refresh() sets.
void GeneralPage::connectAll() {
  QObject::connect(menuBar_, &QCheckBox::clicked, this, [this](bool on) { turnMenuBar(on); });
  QObject::connect(atLogin_, &QCheckBox::clicked, this,
                   [this](bool on) { told_(settings::setMenuBar(registry_, {}, on)); });
  QObject::connect(icon_, &QComboBox::activated, this,
                   [this] { settings::setIconStyle(icon_->value()); });
  QObject::connect(saveAtEnd_, &QCheckBox::clicked, this,
                   [this](bool on) { told_(settings::setSaveAtSessionEnd(registry_, on)); });
}

void GeneralPage::turnMenuBar(bool show) {
  const auto done = settings::setMenuBar(registry_, show, {});
  if (done) settings::setHelperRuns(show);
  told_(done);
}

void GeneralPage::refresh() {
  const auto& entries = registry_.entries();
  menuBar_->setChecked(entries.showInMenuBar());
  atLogin_->setChecked(entries.showInMenuBarAtLogin());
  atLogin_->setEnabled(entries.showInMenuBar());
  icon_->setEnabled(entries.showInMenuBar());
  saveAtEnd_->setChecked(entries.saveAtSessionEnd());
  const auto style = settings::iconStyle();
  icon_->setValue(style == 1 || style == 2 ? 1 : 0);
}

}  // namespace platform::qt
