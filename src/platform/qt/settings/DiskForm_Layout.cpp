#include <QFormLayout>

#include "core/QVLocalized.h"
#include "platform/Services.h"
#include "platform/qt/settings/DiskForm.h"
#include "platform/qt/settings/Texts.h"

namespace platform::qt {
namespace {

using settings::Field;

template <class Widget>
Widget* named(Widget* widget, const char* name) {
  widget->setObjectName(name);
  return widget;
}

Choice* formats(QWidget* parent) {
  auto* choice = named(new Choice(parent), "format");
  choice->add("HFS+", QVRamDiskFormat_HFSPlus);
  choice->add(qtText(QVLocalized("Case-sensitive HFS+")), QVRamDiskFormat_CaseSensitiveHFSPlus);
  return choice;
}

Choice* backups(QWidget* parent) {
  auto* choice = named(new Choice(parent), "backup");
  choice->add(qtText(QVLocalized("Not kept")), QVRamDiskBackupMode_None);
  choice->add(qtText(QVLocalized("In the directory that the RamDisk replaces")),
              QVRamDiskBackupMode_Base);
  choice->add(qtText(QVLocalized("In the folder of Tarnvale")), QVRamDiskBackupMode_AppSupport);
  choice->add(qtText(QVLocalized("In a backup directory")), QVRamDiskBackupMode_Directory);
  return choice;
}

Choice* indexing(QWidget* parent) {
  auto* choice = named(new Choice(parent), "index");
  choice->add(qtText(QVLocalized("As the system sets it")), QVRamDiskMdIndexMode_Unchanged);
  choice->add(qtText(QVLocalized("On")), QVRamDiskMdIndexMode_On);
  choice->add(qtText(QVLocalized("Off")), QVRamDiskMdIndexMode_Off);
  return choice;
}

// A part of the form begins.
void addGap(QFormLayout* rows) {
  constexpr int kGap = 8;
  auto* gap = new QWidget(rows->parentWidget());
  gap->setFixedHeight(kGap);
  rows->addRow(gap);
}

}  // namespace

void DiskForm::makeFields() {
  kind_ = named(new Choice(this), "kind");
  simulator_ = named(new QComboBox(this), "simulator");
  name_ = named(new QLineEdit(this), "name");
  size_ = new SizeField(this);
  directory_ = new PathField("directory", this);
  directory_->setAbsent(qtText(services().places->volumesDirectory()));
  format_ = formats(this);
  backup_ = backups(this);
  backupDirectory_ = new PathField("backupDirectory", this);
  command_ = named(new QLineEdit(this), "command");
  index_ = indexing(this);
  atLogin_ = named(new QCheckBox(qtText(QVLocalized("Create at &login")), this), "atLogin");
  leaveOut_ = named(
      new QCheckBox(qtText(QVLocalized("Begin &empty: leave the directory's contents out")), this),
      "leaveOut");
}

void DiskForm::layOut() {
  rows_ = new QFormLayout(this);
  rows_->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
  rows_->setContentsMargins(0, 0, 0, 0);
  const auto row = [this](const std::string& label, QWidget* editor, const char* name,
                          Field field) {
    auto* box = boxes_[field] = new FieldBox(editor, name, this);
    auto* text = new QLabel(qtText(label), this);
    QWidget* buddy = editor->focusProxy() ? editor->focusProxy() : editor;
    text->setBuddy(buddy);
    buddy->setAccessibleName(qtText(label).remove('&'));
    rows_->addRow(text, box);
  };
  row(QVLocalized("&Kind"), kind_, "kind", Field::Kind);
  row(QVLocalized("Sim&ulator"), simulator_, "simulator", Field::Simulator);
  row(QVLocalized("&Name"), name_, "name", Field::Name);
  row(QVLocalized("&Directory"), directory_, "directory", Field::Directory);
  row(QVLocalized("Si&ze"), size_, "size", Field::Size);
  rows_->addRow(qtText(QVLocalized("&Format")), format_);
  rows_->addRow({}, leaveOut_);
  addGap(rows_);
  row(QVLocalized("&Backup"), backup_, "backup", Field::Backup);
  row(QVLocalized("Backup d&irectory"), backupDirectory_, "backupDirectory",
      Field::BackupDirectory);
  rows_->addRow({}, atLogin_);
  addGap(rows_);
  row(QVLocalized("&Command to run"), command_, "command", Field::PostCommand);
  rows_->addRow(qtText(QVLocalized("Search inde&x")), index_);
}

void DiskForm::showFittingRows() {
  rows_->setRowVisible(boxes_.at(Field::Simulator), kind() == QVRamDiskType_CoreSimulator);
  rows_->setRowVisible(boxes_.at(Field::BackupDirectory),
                       backup_->value() == QVRamDiskBackupMode_Directory);
}

}  // namespace platform::qt
