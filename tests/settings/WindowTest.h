#pragma once
// The window without a screen, on a registry of its own: driven by its widgets, which are found by
// name. The engine, the files and the disk tools are real; the helper and the login are not.

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <memory>
#include <stdexcept>

#include "core/Identifiers.h"
#include "platform/linux/LinuxServices.h"
#include "platform/qt/settings/Fields.h"
#include "platform/qt/settings/SettingsWindow.h"
#include "ramdisk/RegistryFile.h"
#include "settings/Edits.h"
#include "tests/support/EngineTest.h"

class WindowTest : public EngineTest {
 protected:
  WindowTest() {
    startApplication();
    platform::LinuxOptions options;
    options.identifier = kMainAppBundleId;
    auto services = platform::services();
    services.defaults = platform::linuxServices(options).defaults;
    services.applications = applications;
    services.loginItems = loginItems;
    platform::install(services);
  }

  void open() {
    window = std::make_unique<platform::qt::SettingsWindow>();
    window->show();
    turn();
  }

  template <class Widget>
  Widget& find(const char* name) {
    auto* widget = window->findChild<Widget*>(name);
    if (!widget) throw std::runtime_error(std::string("there is no ") + name);
    return *widget;
  }
  void type(const char* name, const std::string& text) {
    find<QLineEdit>(name).setText(QString::fromStdString(text));
  }
  void click(const char* name) {
    EXPECT_TRUE(find<QAbstractButton>(name).isEnabled()) << name;
    find<QAbstractButton>(name).click();
    turn();
  }
  void choose(const char* name, int index) {
    auto& box = find<QComboBox>(name);
    box.setCurrentIndex(index);
    Q_EMIT box.activated(index);
    turn();
  }
  // What stands beneath a field, "" while it is hidden.
  std::string problemAt(const std::string& field) {
    auto& label = find<QLabel>((field + "Problem").c_str());
    return label.isVisibleTo(window.get()) ? label.text().toStdString() : "";
  }
  std::string text(const char* label) { return find<QLabel>(label).text().toStdString(); }
  bool isEnabled(const char* name) { return find<QWidget>(name).isEnabled(); }

  platform::qt::DiskListModel& rows() {
    return static_cast<platform::qt::DiskListModel&>(*find<QListView>("disks").model());
  }
  std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const auto& row : rows().rows()) all.push_back(row.name.toStdString());
    return all;
  }
  void select(int row) {
    find<QListView>("disks").setCurrentIndex(rows().index(row));
    turn();
  }

  static void turn() { QApplication::processEvents(); }

  // As another program finds it.
  static RegistryContents saved() {
    return RegistryFile(RegistryFile::defaultPath().value()).read().value_or(RegistryContents());
  }
  static void save(const std::vector<QVRamDiskPtr>& disks) {
    ASSERT_TRUE(RegistryFile(RegistryFile::defaultPath().value()).write({disks}));
  }
  void tellOfChange() {
    notifications->deliver({QVRamDiskEntriesDidChangeToAllNotification, kSenderHelper, {}});
    turn();
  }

  std::shared_ptr<doubles::FakeApplications> applications =
      std::make_shared<doubles::FakeApplications>();
  std::shared_ptr<doubles::FakeLoginItems> loginItems = std::make_shared<doubles::FakeLoginItems>();
  std::unique_ptr<platform::qt::SettingsWindow> window;

 private:
  static void startApplication() {
    static int count = 1;
    static char name[] = "test_settings";
    static char* arguments[] = {name, nullptr};
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    // Never destroyed: at the program's end, Qt's own statics may go first.
    if (!QCoreApplication::instance())
      static_cast<void>(std::make_unique<QApplication>(count, arguments).release());
  }
};
