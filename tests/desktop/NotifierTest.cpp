// The exported menu and the command line's are the same, and it works.

#include "tests/desktop/NotifierTest.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

namespace fs = std::filesystem;

constexpr char kMenuPath[] = "/MenuBar";
constexpr char kPngStart[] = "\x89PNG";

// The same text as a desktop shows it: underscores would mark keys, and levels are spaces.
std::string labelOf(const QJsonObject& item) {
  QString label(3 * item["indentation"].toInt(), QLatin1Char(' '));
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
  const std::string folder = addBuild();
  tray.come();
  Helper helper({"FromApp"});
  registers();
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
  addBuild();
  tray.come();
  Helper helper({"FromApp"});
  registers();
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
  const std::string folder = addBuild();
  for (int i = 0; i < 600; ++i) scratch.file("home/desk/my_build/" + std::to_string(i));
  tray.come();
  Helper helper({"FromApp"});
  registers();
  ASSERT_EQ(run("create my_build"), 0);
  ASSERT_TRUE(comesTrue([&] { return disk().text("label").find("Mounted") != std::string::npos; }));
  const MenuLine inside = inDisk();
  ASSERT_GT(inside.children.size(), 600U);
  EXPECT_EQ(inside.find("Eject").text("icon-data").substr(0, 4), kPngStart);
  EXPECT_EQ(inside.children.back().text("icon-data"), "");
}

TEST_F(ExportedMenuTest, ADayWithADisk) {
  const std::string folder = addBuild();
  tray.come();
  Helper helper({"FromApp"});
  registers();
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
  EXPECT_EQ(helper.end(), 0);
}

TEST_F(ExportedMenuTest, WhatIsDisabledSaysWhy) {
  addBuild();
  fs::remove_all(scratch.path("home/desk"));
  tray.come();
  Helper helper({"FromApp"});
  registers();
  const MenuLine create = inDisk().find("Create");
  EXPECT_EQ(create.text("enabled"), "false");
  EXPECT_NE(create.text("label").find("Create \u2013 The "), std::string::npos)
      << create.text("label");
  EXPECT_EQ(tray.event(create.id, "clicked").error, "");
  tray.event(0, "closed");
  EXPECT_NE(show("my_build").find("notCreated"), std::string::npos);
}

}  // namespace
