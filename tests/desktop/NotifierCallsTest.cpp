// What else desktops call, rightly or wrongly.

#include <systemd/sd-bus.h>

#include "tests/desktop/NotifierTest.h"

namespace {

using MenuCallsTest = NotifierTest;

// Desktops that ask for many at once, and for some properties only.
TEST_F(MenuCallsTest, GroupsOfItems) {
  addBuild();
  tray.come();
  Helper helper({"FromApp"});
  registers();
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

TEST_F(MenuCallsTest, WhatMakesNoSense) {
  addBuild();
  tray.come();
  Helper helper({"FromApp"});
  registers();
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
  EXPECT_NE(tray.menu("GetLayout",
                      [](sd_bus_message* message) {
                        sd_bus_message_append(message, "iias", 99'999, -1, 0);
                      })
                .error,
            "");
  for (const char* member : {"GetLayout", "GetGroupProperties", "GetProperty", "Event",
                             "EventGroup", "AboutToShow", "AboutToShowGroup"}) {
    EXPECT_NE(tray.menu(member, nothing).error, "") << member;
    EXPECT_NE(tray.menu(member, wrong).error, "") << member;
  }
  EXPECT_NE(tray.menu("Dance").error, "");
  EXPECT_NE(tray.ask("/StatusNotifierItem", "org.kde.StatusNotifierItem", "Dance").error, "");
  EXPECT_NE(tray.ask("/StatusNotifierItem", "org.kde.StatusNotifierItem", "Activate").error, "");
  EXPECT_NE(tray.ask("/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Set",
                     [](sd_bus_message* message) {
                       sd_bus_message_append(message, "ssv", "org.kde.StatusNotifierItem", "Title",
                                             "s", "mine");
                     })
                .error,
            "");
  EXPECT_TRUE(show("my_build").find("notCreated") != std::string::npos);
  EXPECT_EQ(tray.properties().textOf("Title"), "Tarnvale");
  EXPECT_TRUE(helper.isRunning());
}

}  // namespace
