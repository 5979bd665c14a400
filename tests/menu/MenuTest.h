#pragma once
// The status menu on real files and disks, on a desktop of doubles, and menus as lines of text.

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "menu/RamDiskMenuItemView.h"
#include "menu/StatusMenuController.h"
#include "tests/menu/StatusBarDouble.h"
#include "tests/support/EngineTest.h"
#include "tests/support/RecordingGraphics.h"
#include "tests/support/TurningLoop.h"

// Counts what is looked at, on any thread.
class CountingFiles : public FaultyFiles {
 public:
  using FaultyFiles::FaultyFiles;
  platform::FileKind kind(const std::string& path) const override {
    ++looks;
    return FaultyFiles::kind(path);
  }
  mutable std::atomic<int> looks = 0;
};

class MenuTest : public EngineTest {
 protected:
  using Lines = std::vector<std::string>;

  MenuTest();

  // The controller on its status bar, and its menu as the user opens it.
  void start() { controller = StatusMenuController::init(bar); }
  void startWith(const std::vector<std::string>& names,
                 QVRamDiskBackupMode mode = QVRamDiskBackupMode_Base) {
    writeList(names, mode);
    start();
  }
  menu::Menu& open();
  // A disk's submenu as the user opens it; the status menu is open.
  menu::Menu& openDisk(const std::string& displayName);
  menu::MenuPtr openFolder(const menu::Menu& parent, const std::string& title);
  static menu::MenuItemPtr itemOf(const menu::Menu& menu, const std::string& title);
  // Clicks an item of a menu that is open and has such an item.
  static void click(const menu::Menu& menu, const std::string& title);

  // A record that the controller's list holds and no file tells of, so that its state stays what
  // the test makes it. start() comes first.
  QVRamDiskPtr record(const std::string& name, QVRamDiskStatus status,
                      QVRamDiskBackupMode mode = QVRamDiskBackupMode_None,
                      QVRamDiskType type = QVRamDiskType_Default);

  // Disks over home/desk/NAME in the file, not created.
  void writeList(const std::vector<std::string>& names,
                 QVRamDiskBackupMode mode = QVRamDiskBackupMode_Base);
  // Another program reads the list, does this to it, and writes it; nobody is told.
  static void elsewhere(const std::function<void(QVRamDiskEntries&)>& work);
  QVRamDiskPtr disk(std::size_t index = 0) const {
    return controller->ramDiskEntries()->ramDisks().at(index);
  }
  void announceChange(const char* sender) {
    notifications->deliver({QVRamDiskEntriesDidChangeToAllNotification, sender, {}});
  }
  // Until every action has ended and is saved.
  void waitForEnd() {
    turning->runUntil([this] { return !controller->isBusy(); });
  }
  static QVRamDiskPtr saved(std::size_t index = 0);
  void runApplication(const std::string& identifier, const std::string& name) {
    applications->applications.push_back({4711, identifier, name});
  }

  // One line an item: "  title (off) [action#tag] {picture} "tool tip" = represented > submenu".
  // What an item lacks is left out; "~" is the work folder; "---" is a separator.
  Lines lines(const menu::Menu& menu) const;
  std::string line(const menu::MenuItem& item) const;

  std::shared_ptr<TurningLoop> turning = std::make_shared<TurningLoop>();
  std::shared_ptr<doubles::RecordingGraphics> graphics =
      std::make_shared<doubles::RecordingGraphics>();
  std::shared_ptr<doubles::FakeMachine> machine = std::make_shared<doubles::FakeMachine>();
  std::shared_ptr<doubles::FakeApplications> applications =
      std::make_shared<doubles::FakeApplications>();
  std::shared_ptr<CountingFiles> files;
  std::shared_ptr<StatusBarDouble> bar = std::make_shared<StatusBarDouble>();
  std::shared_ptr<StatusMenuController> controller;
};
