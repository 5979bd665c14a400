#pragma once

#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QWidget>
#include <functional>
#include <map>
#include <optional>

#include "platform/qt/settings/DiskForm.h"
#include "platform/qt/settings/DiskList.h"
#include "settings/Draft.h"
#include "settings/Registry.h"
#include "settings/Validation.h"

class QStackedWidget;

namespace platform::qt {

// The disks in their order, and the settings of the one that is selected. What is edited stays
// with each disk until it is applied or reverted; add, remove and reorder take effect at once.
class DisksPage : public QWidget {
 public:
  using Told = std::function<void(const settings::Outcome&)>;

  // `told` is called after every change of the registry, with what went wrong.
  DisksPage(settings::Registry& registry, Told told, QWidget* parent);

  // Shows the registry as it is now. What is being edited stays.
  void refresh();

  // Looks anew which kinds can be chosen.
  void refreshKinds();

  // What is edited and not applied, by name.
  QStringList changedNames() const;
  // Applies all of it, up to the first that cannot be, which is shown.
  bool applyAll();

 private:
  using Identifier = std::optional<std::string>;

  // Building (DisksPage_Layout.cpp)
  QWidget* makeList();
  QWidget* makeDetails();
  QWidget* makeButtons();
  QWidget* makeEmptyPage();
  void connectAll();
  void connectKeys();

  void add();
  void askToRemove();
  void remove(const Identifier& identifier);
  void move(const QString& identifier, std::int64_t gap);
  void moveSelected(int toGap);  // counted from the disk's own place
  bool apply();
  void revert();

  void select(const Identifier& identifier);
  void showSelected();
  void takeKind();
  void takeEdits();
  void showState();  // of the selected disk: buttons, locks, problems, texts
  void showRows(settings::DiskState& state);
  void dropDrafts();
  DiskRow rowOf(const QVRamDisk& disk, settings::DiskState& state) const;
  FormLocks locksOf(const QVRamDisk& disk, settings::DiskState& state);
  QString memoryNote(const QVRamDisk& disk, settings::DiskState& state) const;
  QVRamDiskPtr selectedDisk();
  settings::Draft& draftOf(const QVRamDisk& disk);

  settings::Registry& registry_;
  Told told_;
  std::map<std::string, settings::Draft> drafts_;  // by identifier
  Identifier selected_;
  Identifier shown_;  // in the form
  bool refreshing_ = false;

  DiskListModel* model_;
  QListView* list_;
  QStackedWidget* pages_;
  DiskForm* form_;
  QLabel* title_;
  QLabel* state_;
  QLabel* lockReason_;
  QPushButton* add_;
  QPushButton* remove_;
  QPushButton* apply_;
  QPushButton* revert_;
};

}  // namespace platform::qt
