#include "tests/settings/WindowTest.h"

#include <QCheckBox>
#include <QTabWidget>
#include <filesystem>
#include <set>

#include "kinds/QVRamDiskManager.h"
#include "ramdisk/QVRamDiskPreferences.h"
#include "tests/support/OtherProgram.h"

namespace {

namespace fs = std::filesystem;

constexpr char kWrongSize[] = "Please, specify a correct size of RamDisk";

TEST_F(WindowTest, ChecksWhatIsTypedAndSavesWhatIsRight) {
  scratch.directory("home/desk/cache");
  open();
  EXPECT_TRUE(find<QLabel>("emptyTitle").isVisible());
  click("add");
  EXPECT_EQ(names(), (std::vector<std::string>{"RamDisk"}));
  EXPECT_FALSE(isEnabled("apply"));
  struct Case {
    const char* field;
    std::string text;
    std::string problem;
  };
  const Case cases[] = {
      {"name", "", "Please, specify a name of RamDisk"},
      {"name", "a/b", "The name contains invalid character."},
      {"name", "cache", ""},
      {"size", "many", kWrongSize},
      {"size", "256", ""},
      {"directory", work + "/none", "The mount directory does not exist."},
      {"directory", "~/desk", ""},
  };
  find<QComboBox>("sizeUnit").setCurrentText("MB");
  EXPECT_EQ(problemAt("size"), kWrongSize) << "1 MB";
  type("size", "500");
  for (const auto& [field, typed, problem] : cases) {
    type(field, typed);
    EXPECT_EQ(problemAt(field), problem) << field << " " << typed;
    EXPECT_EQ(isEnabled("apply"), problem.empty()) << field << " " << typed;
  }
  EXPECT_EQ(saved().ramDisks.at(0)->name(), "RamDisk") << "nothing is saved before Apply";
  choose("backup", find<QComboBox>("backup").findData(qlonglong(QVRamDiskBackupMode_Base)));
  type("command", "sh -c \"echo 'a  b'\" ''");
  find<QCheckBox>("atLogin").setChecked(true);
  find<QCheckBox>("leaveOut").setChecked(true);
  find<QComboBox>("format").setCurrentIndex(1);
  find<QComboBox>("index").setCurrentIndex(2);
  click("apply");
  EXPECT_EQ(text("banner"), "");
  const auto disk = saved().ramDisks.at(0);
  EXPECT_EQ(disk->name(), "cache");
  EXPECT_EQ(disk->size(), 256'000'000U);
  EXPECT_EQ(disk->mountDirectory(), work);
  EXPECT_EQ(disk->backupMode(), QVRamDiskBackupMode_Base);
  EXPECT_TRUE(disk->postCmd()->ends_with("/bin/sh")) << *disk->postCmd();
  EXPECT_EQ(disk->postCmdArgs(), (std::vector<std::string>{"-c", "echo 'a  b'", ""}));
  EXPECT_TRUE(disk->createAtLogin() && disk->doNotCalculateBaseSize());
  EXPECT_EQ(disk->format(), QVRamDiskFormat_CaseSensitiveHFSPlus);
  EXPECT_EQ(disk->mdIndexMode(), QVRamDiskMdIndexMode_Off);
  EXPECT_FALSE(isEnabled("apply"));
  EXPECT_EQ(notifications->posted.back().object, "Tarnvale-App");
}

TEST_F(WindowTest, SaysWhatSpeaksAgainstBackupsCommandsAndSharedPlaces) {
  save({diskOver("one", QVRamDiskBackupMode_None), diskOver("two", QVRamDiskBackupMode_None)});
  open();
  select(1);
  type("name", "one");
  EXPECT_EQ(problemAt("directory"), "The RamDisk one has its place at " + work + "/one already.");
  click("revert");
  EXPECT_EQ(find<QLineEdit>("name").text(), "two");
  EXPECT_FALSE(isEnabled("revert"));
  scratch.file("home/desk/one/file");
  type("directory", work + "/one");
  EXPECT_EQ(problemAt("directory"),
            "The RamDisk one needs " + work + "/one, which lies in this directory or around it.");
  select(0);
  EXPECT_EQ(text("backupNote"),
            "What " + work +
                "/one holds is not on the RamDisk, and out of sight while that is "
                "mounted.");
  find<QCheckBox>("leaveOut").setChecked(true);
  choose("backup", 1);
  EXPECT_EQ(text("backupNote"), "");
  EXPECT_EQ(problemAt("backup"), work +
                                     "/one holds files, which a RamDisk that begins empty would "
                                     "leave out and then replace.");
  click("revert");
  select(1);
  click("revert");
  choose("backup", 3);
  type("backupDirectory", work + "/none");
  EXPECT_EQ(problemAt("backupDirectory"), "The backup directory does not exist.");
  type("directory", "");
  choose("backup", 1);
  EXPECT_EQ(problemAt("backup"), "There is no mount directory to write the contents back to.");
  click("revert");
  type("command", work);
  EXPECT_EQ(problemAt("command"), "The command file can not be a directory");
  EXPECT_FALSE(isEnabled("apply"));
}

TEST_F(WindowTest, ReordersAndRemovesWhatWasConfirmed) {
  const auto kept = diskOver("kept", QVRamDiskBackupMode_AppSupport);
  save(
      {diskOver("one", QVRamDiskBackupMode_None), diskOver("two", QVRamDiskBackupMode_None), kept});
  const std::string backup = kept->backupDirPath().value();
  fs::create_directories(backup + "/contents");
  open();
  const std::unique_ptr<QMimeData> dragged(rows().mimeData({rows().index(2)}));
  const auto drop = [&](int row, const QModelIndex& on) {
    rows().dropMimeData(dragged.get(), Qt::MoveAction, row, 0, on);
    turn();
    return names();
  };
  using Names = std::vector<std::string>;
  EXPECT_EQ(drop(0, {}), (Names{"kept", "one", "two"}));
  EXPECT_EQ(saved().ramDisks.at(0)->name(), "kept");
  EXPECT_EQ(drop(-1, {}), (Names{"one", "two", "kept"})) << "below the last row";
  EXPECT_EQ(drop(-1, rows().index(1)), (Names{"one", "kept", "two"})) << "on a row";
  select(1);
  click("remove");
  EXPECT_EQ(find<QMessageBox>("confirmRemoval").informativeText().toStdString(),
            "Its settings are forgotten.\nThe backup of its contents is deleted: " + backup);
  click("cancel");
  EXPECT_EQ(saved().ramDisks.size(), 3U);
  EXPECT_TRUE(fs::exists(backup));
  turn();
  click("remove");
  click("confirm");
  EXPECT_EQ(names(), (Names{"one", "two"}));
  EXPECT_EQ(saved().ramDisks.size(), 2U);
  EXPECT_FALSE(fs::exists(backup));
}

TEST_F(WindowTest, APresetBringsItsPlaceAlong) {
  const std::string caches = scratch.directory("home/.cache/fox");
  places->kinds = platform::KindTable{
      {.type = QVRamDiskType_Firefox,
       .application = {.usualPlace = caches},
       .preset = {.checks = {platform::checks::exists(caches)},
                  .name = "profiles",
                  .mountDirectory = caches,
                  .size = 700'000'000}},
      {.type = QVRamDiskType_Opera, .preset = {.checks = {platform::checks::applicationFound()}}}};
  QVRamDiskManager::forgetCachedAnswers();
  open();
  click("add");
  auto& kinds = find<platform::qt::Choice>("kind");
  ASSERT_EQ(kinds.count(), 3);
  auto* opera = qobject_cast<QStandardItemModel*>(kinds.model())->item(2);
  EXPECT_FALSE(opera->isEnabled());
  EXPECT_EQ(opera->toolTip(), "Its application is not installed, or its version is not supported.");
  choose("kind", 1);
  EXPECT_EQ(find<QLineEdit>("name").text(), "profiles");
  EXPECT_EQ(find<QLineEdit>("directory").text(), "~/.cache/fox");
  EXPECT_FALSE(isEnabled("name") || isEnabled("directory"));
  EXPECT_EQ(find<QLineEdit>("size").text() + find<QComboBox>("sizeUnit").currentText(), "700MB");
  type("size", "300");
  click("apply");
  auto disk = saved().ramDisks.at(0);
  EXPECT_EQ(disk->type(), QVRamDiskType_Firefox);
  EXPECT_EQ(disk->mountDirectory(), caches);
  EXPECT_EQ(disk->size(), 300'000'000U);
  EXPECT_EQ(names(), (std::vector<std::string>{"Firefox Caches"}));
  choose("kind", 0);
  EXPECT_TRUE(isEnabled("name"));
  type("name", "mine");
  click("apply");
  disk = saved().ramDisks.at(0);
  EXPECT_EQ(disk->type(), QVRamDiskType_Default);
  EXPECT_EQ(disk->name(), "mine");
  EXPECT_EQ(disk->mountDirectory(), std::nullopt);
}

TEST_F(WindowTest, OfACreatedDiskOnlyWhatItsEjectDoesNotNeedCanChange) {
  const auto disk = diskOver("work", QVRamDiskBackupMode_Base);
  save({disk});
  open();
  EXPECT_FALSE(find<QLabel>("lockReason").isVisible());
  ASSERT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  save({disk});
  tellOfChange();
  EXPECT_TRUE(find<QLabel>("lockReason").isVisible());
  EXPECT_TRUE(text("lockReason").starts_with("The RamDisk is created. Eject it"));
  for (const char* field : {"kind", "name", "directory", "size", "format", "backup"})
    EXPECT_FALSE(isEnabled(field)) << field;
  EXPECT_TRUE(rows().rows().at(0).mounted);
  click("remove");
  EXPECT_TRUE(text("banner").starts_with("The RamDisk is created.")) << text("banner");
  find<QCheckBox>("atLogin").setChecked(true);
  click("apply");
  EXPECT_TRUE(saved().ramDisks.at(0)->createAtLogin());
  ASSERT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
  loop->fire();
  EXPECT_TRUE(isEnabled("name")) << "the refresh sees an eject elsewhere";
  fs::create_directory(savedBase("work"));
  tellOfChange();
  EXPECT_FALSE(isEnabled("name"));
  EXPECT_TRUE(isEnabled("size"));
  EXPECT_NE(text("lockReason").find(savedBase("work")), std::string::npos);
}

TEST_F(WindowTest, EditsStayWhileOthersChangeTheRegistry) {
  const auto one = diskOver("one", QVRamDiskBackupMode_None);
  const auto two = diskOver("two", QVRamDiskBackupMode_None);
  save({one, two});
  open();
  type("name", "edited");
  type("command", "sh -c 'tr");  // not typed to its end
  one->setSize(500'000'000);
  two->setName("other");
  save({two, one});
  tellOfChange();
  EXPECT_EQ(names(), (std::vector<std::string>{"other", "one"}));
  EXPECT_EQ(find<QListView>("disks").currentIndex().row(), 1) << "the disk stays selected";
  EXPECT_EQ(find<QLineEdit>("name").text(), "edited");
  EXPECT_EQ(find<QLineEdit>("command").text(), "sh -c 'tr");
  EXPECT_EQ(find<QLineEdit>("size").text(), "500");
  two->setName("named");
  save({two, one});  // this time without a word
  QEvent comesBack(QEvent::WindowActivate);
  QApplication::sendEvent(window.get(), &comesBack);
  turn();
  EXPECT_EQ(names(), (std::vector<std::string>{"named", "one"}));
  two->setSize(400'000'000);
  save({two, one});  // and while it is looked at
  click("apply");
  EXPECT_EQ(saved().ramDisks.at(0)->size(), 400'000'000U);
  EXPECT_EQ(saved().ramDisks.at(1)->size(), 500'000'000U);
  EXPECT_EQ(saved().ramDisks.at(1)->name(), "edited");
  save({two});
  type("name", "lost");
  click("apply");
  EXPECT_EQ(text("banner"), "Another program removed the RamDisk.");
  EXPECT_EQ(names(), (std::vector<std::string>{"named"}));
}

TEST_F(WindowTest, SaysWhenAnotherProgramKeepsTheListLocked) {
  save({diskOver("one", QVRamDiskBackupMode_None)});
  open();
  OtherProgram other([](OtherProgram& self) {
    const auto lock = RegistryLock::take(*RegistryFile::defaultPath(), {});
    self.tell();
    return OtherProgram::hang();
  });
  ASSERT_TRUE(other.waitUntilTold());
  type("name", "edited");
  click("apply");
  EXPECT_TRUE(text("banner").starts_with("Another program keeps the list of RamDisks locked ("));
  EXPECT_EQ(find<QLineEdit>("name").text(), "edited");
  EXPECT_EQ(saved().ramDisks.at(0)->name(), "one");
  other.kill();
  click("apply");
  EXPECT_EQ(text("banner"), "");
  EXPECT_EQ(saved().ramDisks.at(0)->name(), "edited");
}

TEST_F(WindowTest, SwitchesTakeEffectAtOnce) {
  const std::string helper = scratch.executable("helper", "#!/bin/sh\n");
  applications->paths[kHelperBundleId] = helper;
  open();
  find<QTabWidget>("tabs").setCurrentIndex(1);
  EXPECT_FALSE(isEnabled("menuBarAtLogin"));
  click("menuBar");
  EXPECT_TRUE(saved().showInMenuBar);
  ASSERT_EQ(workspace->launched.size(), 1U);
  EXPECT_EQ(workspace->launched[0].first, helper);
  EXPECT_EQ(workspace->launched[0].second, (std::vector<std::string>{"FromApp"}));
  click("menuBarAtLogin");
  ASSERT_EQ(loginItems->items.size(), 1U);
  EXPECT_TRUE(saved().showInMenuBarAtLogin);
  choose("iconStyle", 1);
  EXPECT_EQ(QVRamDiskPreferences::styleOfMainApplication(), 1);
  EXPECT_EQ(notifications->posted.back().name,
            QVRamDiskPreferencesStatusItemIconStyleDidChangeNotification);
  EXPECT_EQ(notifications->posted.back().userInfo.at("StatusItemIconStyle"), "1");
  EXPECT_EQ(saved().saveAtSessionEnd, std::nullopt) << "only who turns it writes it";
  click("saveAtSessionEnd");
  EXPECT_EQ(saved().saveAtSessionEnd, false);
  applications->applications.push_back(
      {.processIdentifier = 77, .bundleIdentifier = kHelperBundleId, .localizedName = {}});
  click("menuBar");
  EXPECT_EQ(applications->asked, (std::vector<std::int64_t>{77}));
  EXPECT_EQ(workspace->launched.size(), 1U);
  EXPECT_TRUE(loginItems->items.empty());
}

TEST_F(WindowTest, ClosingAsksAboutEdits) {
  save({diskOver("one", QVRamDiskBackupMode_None), diskOver("two", QVRamDiskBackupMode_None)});
  open();
  type("size", "200");
  select(1);
  type("size", "1");
  EXPECT_EQ(problemAt("size"), kWrongSize);
  EXPECT_FALSE(window->close());
  click("cancel");
  EXPECT_TRUE(window->isVisible());
  EXPECT_FALSE(window->close());
  click("confirm");
  EXPECT_TRUE(window->isVisible()) << "what is wrong cannot be applied";
  EXPECT_EQ(saved().ramDisks.at(0)->size(), 200'000'000U);
  EXPECT_EQ(find<QListView>("disks").currentIndex().row(), 1);
  EXPECT_FALSE(window->close());
  click("discard");
  EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(saved().ramDisks.at(1)->size(), kSize);
}

TEST_F(WindowTest, ARegistryThatCannotBeReadIsLeftAlone) {
  const std::string path = RegistryFile::defaultPath().value();
  scratch.file(fs::relative(path, scratch.path()).string(), "<plist>");
  open();
  EXPECT_NE(text("banner").find(path), std::string::npos) << text("banner");
  EXPECT_FALSE(isEnabled("add") || isEnabled("menuBar"));
  EXPECT_EQ(readFile(path), "<plist>");
  fs::remove(path);
  tellOfChange();
  EXPECT_EQ(text("banner"), "");
  click("add");
  EXPECT_EQ(saved().ramDisks.size(), 1U);
}

// Every field says its name to a screen reader.
TEST_F(WindowTest, CanBeUsedWithoutSeeingIt) {
  save({diskOver("one", QVRamDiskBackupMode_None)});
  open();
  std::set<QWidget*> labelled;
  for (auto* label : window->findChildren<QLabel*>()) labelled.insert(label->buddy());
  const auto expectNamed = [&](QWidget* field) {
    EXPECT_TRUE(labelled.contains(field) || !field->accessibleName().isEmpty())
        << field->objectName().toStdString();
  };
  for (auto* box : window->findChildren<QComboBox*>()) expectNamed(box);
  for (auto* edit : window->findChildren<QLineEdit*>()) expectNamed(edit);
}

}  // namespace
