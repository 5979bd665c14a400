// The item in a tray that is reached over the bus, and the menu that the desktop draws then: it is
// the same as the command line's, and it works.

#include <systemd/sd-bus.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "tests/desktop/DesktopTest.h"
#include "tests/support/TrayHostDouble.h"

namespace {

class NotifierTest : public DesktopTest {
 protected:
  std::string addBuild(const std::string& size = "200M") {
    std::string folder = scratch.directory("home/desk/my_build");
    scratch.file("home/desk/my_build/letters/first", "first");
    scratch.file("home/desk/my_build/objects/main.o", std::string(3'000'000, 'o'));
    EXPECT_EQ(run("add '" + folder + "' --size " + size), 0);
    return folder;
  }

  // A tray comes, and the helper's item with a disk to it. Gives the disk's folder.
  std::string showBuild(const std::string& size = "200M", bool withHost = true) {
    std::string folder = addBuild(size);
    tray.come(withHost);
    helper.emplace(std::vector<std::string>{"FromApp"});
    registers();
    return folder;
  }
  void registers() {
    ASSERT_TRUE(comesTrue([&] { return tray.registrations() > 0; }));
  }

  MenuLine disk() { return tray.opened(0).find("my__build"); }
  // What is below the disk, opened as a desktop opens it.
  MenuLine inDisk() { return tray.opened(disk().id); }
  void click(const MenuLine& line) {
    ASSERT_NE(line.id, 0);
    EXPECT_EQ(tray.event(line.id, "clicked").error, "");
    tray.event(0, "closed");
  }

  TrayHostDouble tray{bus.address()};
  std::optional<Helper> helper;
};

constexpr char kMenuPath[] = "/MenuBar";
constexpr char kPngStart[] = "\x89PNG";

// The same text as a desktop shows it: underscores would mark keys, and levels are spaces.
std::string labelOf(const QJsonObject& item) {
  QString label(qsizetype{3} * item["indentation"].toInt(), QLatin1Char(' '));
  label += item["text"].toString();
  if (item["toolTip"].isString()) label += QString::fromUtf8(" – ") + item["toolTip"].toString();
  return label.replace("_", "__").toStdString();
}

// Figures of memory are others at every look.
std::string withoutFigures(std::string text, const QJsonObject& item) {
  if (item["action"].toString() != "mi_macInfo:") return text;
  return text.substr(0, text.find_first_of("0123456789"));
}

// What stands below the disk that was asked for.
QJsonArray submenuIn(const QJsonArray& items) {
  for (const auto& item : items)
    if (item.toObject().contains("submenu")) return item.toObject()["submenu"].toArray();
  return {};
}

class ExportedMenuTest : public NotifierTest {
 protected:
  QJsonArray menuOfCommandLine(const std::string& open = {}) {
    const std::string file = scratch.path("menu");
    std::system(
        (std::string(TARNVALE_PROGRAM) + " menu --json " + open + " >'" + file + "'").c_str());
    return QJsonDocument::fromJson(QByteArray::fromStdString(readFile(file))).array();
  }

  static void expectSame(const MenuLine& shown, const QJsonArray& said) {
    ASSERT_EQ(shown.children.size(), static_cast<std::size_t>(said.size()));
    for (qsizetype i = 0; i < said.size(); ++i)
      expectSame(shown.children[static_cast<std::size_t>(i)], said[i].toObject());
  }
  static void expectSame(const MenuLine& line, const QJsonObject& said) {
    const bool isSeparator = said["separator"].toBool();
    ASSERT_EQ(line.text("type") == "separator", isSeparator);
    if (isSeparator) return;
    EXPECT_EQ(withoutFigures(line.text("label"), said), withoutFigures(labelOf(said), said));
    EXPECT_EQ(line.text("enabled"), said["enabled"].toBool() ? "true" : "false");
    EXPECT_EQ(line.text("children-display") == "submenu", said["hasSubmenu"].toBool());
    if (said["submenu"].isArray()) expectSame(line, said["submenu"].toArray());
  }
};

TEST_F(ExportedMenuTest, TheItemAndItsMenu) {
  const std::string folder = showBuild();
  const BusValue item = tray.properties();
  EXPECT_EQ(item.textOf("Title"), "Tarnvale");
  EXPECT_EQ(item.textOf("Id"), "tarnvale");
  EXPECT_EQ(item.textOf("Status"), "Active");
  EXPECT_EQ(item.textOf("Menu"), kMenuPath);
  ASSERT_NE(item.find("ToolTip"), nullptr);
  EXPECT_EQ(item.find("ToolTip")->parts.at(2).text, "Tarnvale");
  ASSERT_NE(item.find("IconPixmap"), nullptr);
  const auto& pictures = item.find("IconPixmap")->parts;
  ASSERT_GE(pictures.size(), 2U);
  for (const auto& picture : pictures) {
    const auto side = static_cast<std::size_t>(std::stoi(picture.parts.at(0).text));
    const std::string& pixels = picture.parts.at(2).text;
    EXPECT_GE(side, 22U);
    ASSERT_EQ(pixels.size(), 4 * side * side);
    EXPECT_NE(pixels, std::string(pixels.size(), '\0'));
  }

  const MenuLine menu = tray.opened(0);
  expectSame(menu, menuOfCommandLine());
  EXPECT_EQ(menu.find("my__build").text("icon-data").substr(0, 4), kPngStart);
  expectSame(tray.opened(menu.find("my__build").id),
             submenuIn(menuOfCommandLine("--open my_build")));
  EXPECT_TRUE(comesTrue([&] { return tray.revision() == tray.announcedRevision(); }));
  ASSERT_EQ(run("create my_build"), 0);
  const MenuLine later = tray.opened(0);
  expectSame(later, menuOfCommandLine());
  EXPECT_NE(later.find("my__build").text("label").find("Mounted"), std::string::npos);
}

// Some desktops do not make an open menu larger.
TEST_F(ExportedMenuTest, IsUpToDateBeforeItIsOpened) {
  showBuild();
  const auto says = [&](const std::string& state) {
    return tray.layout(0, 1).find("my__build").text("label").find(state) != std::string::npos;
  };
  EXPECT_TRUE(says("Not created"));
  const int row = tray.layout(0, 1).find("my__build").id;
  ASSERT_EQ(run("create my_build"), 0);
  EXPECT_TRUE(comesTrue([&] { return says("Mounted"); }));
  EXPECT_EQ(tray.layout(0, 1).find("my__build").id, row) << "a pointer may be on it";
  EXPECT_TRUE(comesTrue([&] { return tray.told("ItemsPropertiesUpdated") > 0; }));
  ASSERT_EQ(run("eject my_build"), 0);
  ASSERT_EQ(run("remove my_build --yes"), 0);
  EXPECT_TRUE(comesTrue([&] { return tray.layout(0, 1).find("my__build").id == 0; }));
  EXPECT_NE(tray.event(row, "clicked").error, "");
  EXPECT_TRUE(comesTrue([&] { return tray.revision() == tray.announcedRevision(); }));
}

TEST_F(ExportedMenuTest, LongFoldersKeepThePicturesOfWhatIsSeenFirst) {
  for (int i = 0; i < 600; ++i) scratch.file("home/desk/my_build/" + std::to_string(i));
  showBuild();
  ASSERT_EQ(run("create my_build"), 0);
  ASSERT_TRUE(comesTrue([&] { return disk().text("label").find("Mounted") != std::string::npos; }));
  const MenuLine inside = inDisk();
  ASSERT_GT(inside.children.size(), 600U);
  EXPECT_EQ(inside.find("Eject").text("icon-data").substr(0, 4), kPngStart);
  EXPECT_EQ(inside.children.back().text("icon-data"), "");
}

TEST_F(ExportedMenuTest, ADayWithADisk) {
  const std::string folder = showBuild();
  click(inDisk().find("Create"));
  ASSERT_TRUE(isInState("my_build", "mounted"));
  ASSERT_TRUE(comesTrue([&] { return disk().text("label").find("Mounted") != std::string::npos; }));

  MenuLine inside = inDisk();
  for (const char* command : {"Eject", "Rebuild", "Synchronise Now", "Delete All Files"})
    EXPECT_EQ(inside.find(command).text("enabled"), "true") << command;
  EXPECT_TRUE(inside.find("letters").children.empty()) << "filled when it is looked into";
  const auto before = tray.revision();
  inside = tray.opened(inside.find("letters").id);
  EXPECT_GT(tray.revision(), before);
  EXPECT_TRUE(comesTrue([&] { return tray.revision() == tray.announcedRevision(); }));
  EXPECT_EQ(inside.find("first").text("enabled"), "true");
  EXPECT_TRUE(fs::exists(folder + "/letters"));
  click(inside.find("Remove this Folder"));
  EXPECT_TRUE(comesTrue([&] { return !fs::exists(folder + "/letters"); }));
  EXPECT_EQ(inDisk().find("letters").id, 0);

  click(inDisk().find("Eject"));
  ASSERT_TRUE(isInState("my_build", "notCreated"));
  EXPECT_FALSE(fs::exists(folder + "/letters"));
  EXPECT_TRUE(fs::exists(folder + "/objects/main.o"));
  EXPECT_EQ(tray.event(tray.opened(0).find("Quit").id, "clicked").error, "");
  EXPECT_EQ(helper->end(), 0);
}

TEST_F(ExportedMenuTest, WhatIsDisabledSaysWhy) {
  showBuild();
  fs::remove_all(scratch.path("home/desk"));
  const MenuLine create = inDisk().find("Create");
  EXPECT_EQ(create.text("enabled"), "false");
  EXPECT_NE(create.text("label").find("Create \u2013 The "), std::string::npos)
      << create.text("label");
  EXPECT_EQ(tray.event(create.id, "clicked").error, "");
  tray.event(0, "closed");
  EXPECT_NE(show("my_build").find("notCreated"), std::string::npos);
}

// --- What else desktops call, rightly or wrongly

// Desktops that ask for many at once, and for some properties only.
TEST_F(NotifierTest, GroupsOfItems) {
  showBuild();
  const int row = tray.layout().find("my__build").id;
  ASSERT_NE(row, 0) << "the root is there before it is opened";
  const auto shown = tray.menu("AboutToShowGroup", [&](sd_bus_message* message) {
    sd_bus_message_append(message, "ai", 2, row, 99'999);
  });
  ASSERT_EQ(shown.values.size(), 2U) << shown.error;
  EXPECT_EQ(shown.values[0].parts.at(0).text, std::to_string(row));
  EXPECT_EQ(shown.values[1].parts.at(0).text, "99999");
  const int create = tray.layout(row).find("Create").id;
  const auto labels = tray.menu("GetGroupProperties", [&](sd_bus_message* message) {
    sd_bus_message_append(message, "aias", 2, row, 99'999, 1, "label");
  });
  ASSERT_EQ(labels.values.at(0).parts.size(), 1U);
  const BusValue& properties = labels.values[0].parts[0].parts.at(1);
  ASSERT_EQ(properties.parts.size(), 1U);
  EXPECT_NE(properties.textOf("label").find("my__build"), std::string::npos);
  const auto enabled = tray.menu("GetProperty", [&](sd_bus_message* message) {
    sd_bus_message_append(message, "is", row, "enabled");
  });
  EXPECT_EQ(enabled.values.at(0).text, "true");
  const MenuLine level = tray.layout(0, 1);
  EXPECT_TRUE(level.find("my__build").children.empty()) << "one level was asked for";
  const auto unknown = tray.menu("EventGroup", [&](sd_bus_message* message) {
    sd_bus_message_append(message, "a(isvu)", 2, 99'999, "clicked", "s", "", 0, create, "clicked",
                          "s", "", 0);
  });
  EXPECT_EQ(unknown.values.at(0).parts.size(), 1U);
  EXPECT_TRUE(isInState("my_build", "mounted"));
}

TEST_F(NotifierTest, WhatMakesNoSense) {
  showBuild();
  const int late = inDisk().find("Create").id;
  inDisk();
  const auto number = [](int id) {
    return [id](sd_bus_message* message) { sd_bus_message_append(message, "i", id); };
  };
  const auto nothing = [](sd_bus_message*) {};
  const auto wrong = [](sd_bus_message* message) { sd_bus_message_append(message, "s", "root"); };
  EXPECT_NE(tray.event(late, "clicked").error, "") << "it was replaced";
  EXPECT_NE(tray.event(-7, "clicked").error, "");
  EXPECT_NE(tray.menu("AboutToShow", number(99'999)).error, "");
  const auto layout = [](sd_bus_message* message) {
    sd_bus_message_append(message, "iias", 99'999, -1, 0);
  };
  EXPECT_NE(tray.menu("GetLayout", layout).error, "");
  for (const char* member : {"GetLayout", "GetGroupProperties", "GetProperty", "Event",
                             "EventGroup", "AboutToShow", "AboutToShowGroup"}) {
    EXPECT_NE(tray.menu(member, nothing).error, "") << member;
    EXPECT_NE(tray.menu(member, wrong).error, "") << member;
  }
  EXPECT_NE(tray.menu("Dance").error, "");
  constexpr char kItem[] = "/StatusNotifierItem";
  static constexpr char kInterface[] = "org.kde.StatusNotifierItem";
  for (const char* member : {"Dance", "Activate"})
    EXPECT_NE(tray.ask(kItem, kInterface, member).error, "") << member;
  const auto title = [](sd_bus_message* message) {
    sd_bus_message_append(message, "ssv", kInterface, "Title", "s", "mine");
  };
  EXPECT_NE(tray.ask(kItem, "org.freedesktop.DBus.Properties", "Set", title).error, "");
  EXPECT_TRUE(show("my_build").find("notCreated") != std::string::npos);
  EXPECT_EQ(tray.properties().textOf("Title"), "Tarnvale");
  EXPECT_TRUE(helper->isRunning());
}

// --- Where it shows when trays come and go, and how

TEST_F(NotifierTest, TheItemMovesAsTraysComeAndGo) {
  const auto corner = [&] { return desktop.picture().copy(0, 0, 24, 24); };
  showBuild("200M", false);  // such as left behind by another desktop's services
  desktop.startPanel();
  openMenu();
  closeMenu();
  const QImage inPanel = corner();
  tray.setHost(true);
  EXPECT_TRUE(comesTrue([&] { return corner() != inPanel; })) << "it shows once";
  EXPECT_NE(disk().id, 0);
  tray.leave();
  openMenu();
  closeMenu();
  desktop.stopPanel();
  desktop.startPanel();
  openMenu();
  closeMenu();
  tray.come();
  registers();
  EXPECT_NE(disk().id, 0);
  EXPECT_TRUE(helper->isRunning());
}

TEST_F(NotifierTest, ActivatedItShowsTheMenuAtThePlace) {
  showBuild();
  tray.activate(300, 100);
  comesTrue([&] {  // what has the keyboard is told to a screen reader
    desktop.press("Down");
    return reader->find("my_build").has_value();
  });
  const Thing row = see("my_build");
  EXPECT_GE(row.x, 300);
  EXPECT_LT(row.x, 320);
  EXPECT_GE(row.y, 100);
  closeMenu();
}

TEST_F(NotifierTest, ANearlyFullDiskIsSeenInTheTray) {
  const auto isRed = [](const BusValue& item, const char* property) {
    const std::string& pixels = item.find(property)->parts.at(0).parts.at(2).text;
    return pixels.find("\xff\xff\0\0", 0, 4) != std::string::npos;
  };
  const std::string folder = showBuild("128M");
  EXPECT_FALSE(isRed(tray.properties(), "IconPixmap"));
  scratch.file("home/desk/my_build/much", std::string(80'000'000, 'm'));
  click(inDisk().find("Create"));
  ASSERT_TRUE(isInState("my_build", "mounted"));
  scratch.file("home/desk/my_build/more", std::string(30'000'000, 'm'));
  click(inDisk().find("Synchronise Now"));
  ASSERT_TRUE(comesTrue([&] { return tray.lastStatus() == "NeedsAttention"; }));
  const BusValue item = tray.properties();
  EXPECT_EQ(item.textOf("Status"), "NeedsAttention");
  EXPECT_TRUE(isRed(item, "IconPixmap"));
  EXPECT_TRUE(isRed(item, "AttentionIconPixmap"));
  EXPECT_NE(item.find("ToolTip")->parts.at(3).text.find("nearly full"), std::string::npos);
  bool isEjected = false;  // once the menu's save is over
  EXPECT_TRUE(comesTrue([&] { return isEjected = isEjected || run("eject my_build") == 0; }));
  EXPECT_TRUE(comesTrue([&] { return tray.lastStatus() == "Active"; }));
}

// --- A panel that people use, which draws the exported menu itself

constexpr int kRightButton = 3;
constexpr char kOnlyATray[] =
    "[General]\npanels=panel1\n"
    "[panel1]\nalignment=-1\niconSize=22\npanelSize=24\nplugins=tray\nposition=Top\nwidth=100\n"
    "width-percent=true\n"
    "[tray]\ntype=statusnotifier\n";

bool isInstalled() { return std::system("command -v lxqt-panel >/dev/null") == 0; }

class PanelTest : public NotifierTest {
 protected:
  void SetUp() override {
    if (!isInstalled()) GTEST_SKIP() << "'make desktops' brings the panel";
    panel_ = Companion({"lxqt-panel", "--config", scratch.file("panel.conf", kOnlyATray)});
  }

  // The item may still be on its way into the panel; the menu of that opens then.
  void openWith(int button) {
    EXPECT_TRUE(comesTrue([&] {
      if (isOpen()) return true;
      desktop.press("Escape");
      desktop.click(Desktop::kItemX, Desktop::kItemY, button);
      return comesTrue([&] { return isOpen(); }, std::chrono::seconds(2));
    })) << all();
  }
  // A menu that just opened passes over the first motion.
  void walkInto(const std::string& item, const std::string& holds) {
    const Thing thing = see(item);
    int moves = 0;
    EXPECT_TRUE(comesTrue([&] {
      if (!reader->find(holds)) desktop.moveTo(thing.middleX() - ++moves % 9, thing.middleY());
      return reader->find(holds).has_value();
    })) << all();
  }
  bool isOpen() { return reader->find("Quit Tarnvale Menu").has_value(); }

 private:
  Companion panel_;
};

TEST_F(PanelTest, ADayWithADisk) {
  const std::string folder = addBuild();
  helper.emplace(std::vector<std::string>{"FromApp"});
  openWith(kRightButton);
  EXPECT_NE(see("my_build").name.find("Not created"), std::string::npos) << see("my_build").name;
  walkInto("my_build", "Create");
  desktop.keepPicture("panel");
  choose("Create");
  ASSERT_TRUE(isInState("my_build", "mounted"));

  openWith(kRightButton);
  EXPECT_NE(see("my_build").name.find("Mounted"), std::string::npos) << see("my_build").name;
  walkInto("my_build", "letters");
  walkInto("letters", "Remove this Folder");
  desktop.keepPicture("panel-browsing");
  choose("Remove this Folder");
  EXPECT_TRUE(comesTrue([&] { return !fs::exists(folder + "/letters"); }));
}

}  // namespace
