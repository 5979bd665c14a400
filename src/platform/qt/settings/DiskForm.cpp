#include "platform/qt/settings/DiskForm.h"

#include <QFormLayout>
#include <utility>

#include "core/QVLocalized.h"
#include "kinds/QVSimDevice.h"
#include "platform/Services.h"
#include "platform/qt/settings/Fields.h"
#include "settings/Change.h"
#include "settings/Problem.h"
#include "settings/TypedText.h"

namespace platform::qt {
namespace {

using settings::Field;
using settings::KindChoice;

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

DiskForm::DiskForm(QWidget* parent) : QWidget(parent) {
  makeFields();
  layOut();
  connectAll();
}

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

void DiskForm::connectAll() {
  const auto tell = [this] {
    if (!loading_ && edited) edited();
  };
  const auto tellKind = [this] {
    if (!loading_ && kindChosen) kindChosen();
  };
  for (auto* edit :
       {name_, size_->number(), directory_->edit(), backupDirectory_->edit(), command_})
    QObject::connect(edit, &QLineEdit::textChanged, this, tell);
  for (QComboBox* box : {size_->unit(), static_cast<QComboBox*>(format_),
                         static_cast<QComboBox*>(backup_), static_cast<QComboBox*>(index_)})
    QObject::connect(box, &QComboBox::currentIndexChanged, this, tell);
  for (auto* box : {atLogin_, leaveOut_}) QObject::connect(box, &QCheckBox::toggled, this, tell);
  for (QComboBox* box : {static_cast<QComboBox*>(kind_), simulator_})
    QObject::connect(box, &QComboBox::currentIndexChanged, this, tellKind);
  QObject::connect(backup_, &QComboBox::currentIndexChanged, this, [this] { showFittingRows(); });
}

std::optional<std::string> DiskForm::simulator() const {
  if (simulator_->currentIndex() < 0) return std::nullopt;
  return plainText(simulator_->currentData().toString());
}

void DiskForm::setKinds(const std::vector<KindChoice>& kinds) {
  kinds_ = kinds;
  const bool before = std::exchange(loading_, true);
  const auto shown = kind_->value();
  kind_->clear();
  for (const auto& kind : kinds) {
    kind_->add(qtText(settings::nameOfKind(kind.type)), kind.type);
    kind_->setEnabled(kind.type, kind.state == KindChoice::State::Available,
                      qtText(settings::reasonTextOf(kind)));
  }
  kind_->setValue(shown);
  loading_ = before;
}

void DiskForm::load(const QVRamDisk& disk, bool isOther) {
  const bool before = std::exchange(loading_, true);
  loadChoices(disk);
  loadSimulators(disk);
  loadTexts(disk, isOther);
  showFittingRows();
  loading_ = before;
}

void DiskForm::loadTexts(const QVRamDisk& disk, bool isOther) {
  if (isOther || name_->text() != qtText(disk.name())) name_->setText(qtText(disk.name()));
  if (isOther || size_->bytes() != disk.size()) size_->setBytes(disk.size());
  if (isOther) directory_->edit()->clear();
  directory_->setPath(disk.mountDirectory());
  if (isOther) backupDirectory_->edit()->clear();
  backupDirectory_->setPath(disk.backupDir());
  const auto words = settings::postCommandOf(disk);
  if (isOther || settings::wordsOfCommand(plainText(command_->text())) != words)
    command_->setText(qtText(settings::commandText(words)));
}

// A kind that this platform does not have is shown by its number's name all the same.
void DiskForm::loadChoices(const QVRamDisk& disk) {
  kind_->setValue(disk.type());
  if (kind_->currentIndex() < 0) {
    kind_->add(qtText(settings::nameOfKind(disk.type())), disk.type());
    kind_->setValue(disk.type());
  }
  format_->setValue(disk.format());
  backup_->setValue(disk.backupMode());
  index_->setValue(disk.mdIndexMode());
  atLogin_->setChecked(disk.createAtLogin());
  leaveOut_->setChecked(disk.doNotCalculateBaseSize());
}

void DiskForm::loadSimulators(const QVRamDisk& disk) {
  simulator_->clear();
  if (disk.type() != QVRamDiskType_CoreSimulator) return;
  for (const auto& device : *QVSimDeviceList::sharedInstance().devices())
    simulator_->addItem(qtText(device->displayName()), qtText(device->dirId()));
  const QString own = qtText(disk.simId());
  if (disk.simId() && simulator_->findData(own) < 0) simulator_->addItem(own, own);
  simulator_->setCurrentIndex(simulator_->findData(own));
}

void DiskForm::store(QVRamDisk& disk) const {
  if (disk.type() == QVRamDiskType_Default) {
    disk.setName(plainText(name_->text()));
    disk.setMountDirectory(directory_->path());
  }
  disk.setSize(size_->bytes());
  disk.setFormat(static_cast<QVRamDiskFormat>(format_->value()));
  disk.setBackupMode(static_cast<QVRamDiskBackupMode>(backup_->value()));
  disk.setBackupDir(backupDirectory_->path());
  disk.setMdIndexMode(static_cast<QVRamDiskMdIndexMode>(index_->value()));
  disk.setCreateAtLogin(atLogin_->isChecked());
  disk.setDoNotCalculateBaseSize(leaveOut_->isChecked());
  auto words = settings::wordsOfCommand(plainText(command_->text()));
  if (words == settings::postCommandOf(disk)) return;
  disk.setPostCmd(words.empty() ? std::nullopt : std::optional(words.front()));
  if (!words.empty()) words.erase(words.begin());
  disk.setPostCmdArgs(disk.postCmd() ? std::optional(words) : std::nullopt);
}

void DiskForm::focusName() {
  name_->setFocus();
  name_->selectAll();
}

void DiskForm::setLocks(const QVRamDisk& disk, const FormLocks& locks) {
  const bool isPlain = disk.type() == QVRamDiskType_Default;
  const bool placeIsFixed = locks.volume || locks.place;
  static_cast<QWidget*>(kind_)->setEnabled(!placeIsFixed);
  simulator_->setEnabled(!placeIsFixed);
  name_->setEnabled(!placeIsFixed && isPlain);
  directory_->setEnabled(!placeIsFixed && isPlain);
  size_->setEnabled(!locks.volume);
  static_cast<QWidget*>(format_)->setEnabled(!locks.volume);
  const bool isInBase = disk.backupMode() == QVRamDiskBackupMode_Base;
  static_cast<QWidget*>(backup_)->setEnabled(!(locks.base && isInBase));
  backup_->setEnabled(QVRamDiskBackupMode_Base, !locks.base);
}

void DiskForm::setProblems(const std::vector<settings::Problem>& problems) {
  std::map<Field, QString> texts;
  for (const auto& problem : problems)
    texts.emplace(problem.field, qtText(settings::textOf(problem)));
  for (const auto& [field, box] : boxes_) box->setProblem(texts[field]);
}

void DiskForm::showFittingRows() {
  rows_->setRowVisible(boxes_.at(Field::Simulator), kind() == QVRamDiskType_CoreSimulator);
  rows_->setRowVisible(boxes_.at(Field::BackupDirectory),
                       backup_->value() == QVRamDiskBackupMode_Directory);
}

}  // namespace platform::qt
