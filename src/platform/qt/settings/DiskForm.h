#pragma once

#include <QCheckBox>
#include <QLineEdit>
#include <QWidget>
#include <functional>
#include <map>
#include <vector>

#include "platform/qt/settings/Fields.h"
#include "ramdisk/QVRamDisk.h"
#include "settings/KindChoices.h"
#include "settings/Problem.h"

class QFormLayout;

namespace platform::qt {

// What cannot change now.
struct FormLocks {
  bool volume = false;  // size and format; with them the place
  bool place = false;   // kind, name and directory
  bool base = false;    // whether the contents are kept in the base

  bool operator==(const FormLocks&) const = default;
};

// The settings of one disk as fields.
class DiskForm : public QWidget {
 public:
  explicit DiskForm(QWidget* parent);

  std::function<void()> edited;      // a field was changed by the user
  std::function<void()> kindChosen;  // so was the kind or the simulator device

  QVRamDiskType kind() const { return static_cast<QVRamDiskType>(kind_->value()); }
  std::optional<std::string> simulator() const;

  void setKinds(const std::vector<settings::KindChoice>& kinds);
  // Shows a disk. Unless it is another one than before, what says the same already is not touched.
  void load(const QVRamDisk& disk, bool isOther);
  // Takes the fields over into a record, but for kind and simulator device.
  void store(QVRamDisk& disk) const;

  void focusName();

  void setLocks(const QVRamDisk& disk, const FormLocks& locks);
  void setProblems(const std::vector<settings::Problem>& problems);
  void setContentsNote(const QString& text) { boxes_.at(settings::Field::Backup)->setNote(text); }
  void setMemoryNote(const QString& text) { boxes_.at(settings::Field::Size)->setNote(text); }

 private:
  void makeFields();
  void layOut();
  void connectAll();
  void loadTexts(const QVRamDisk& disk, bool isOther);
  void loadChoices(const QVRamDisk& disk);
  void loadSimulators(const QVRamDisk& disk);
  void showFittingRows();

  QFormLayout* rows_;
  Choice* kind_;
  QComboBox* simulator_;
  QLineEdit* name_;
  SizeField* size_;
  PathField* directory_;
  Choice* format_;
  Choice* backup_;
  PathField* backupDirectory_;
  QCheckBox* atLogin_;
  QLineEdit* command_;
  Choice* index_;
  QCheckBox* leaveOut_;
  std::map<settings::Field, FieldBox*> boxes_;
  std::vector<settings::KindChoice> kinds_;
  bool loading_ = false;
};

}  // namespace platform::qt
