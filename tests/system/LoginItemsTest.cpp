#include "core/Identifiers.h"
#include "system/LoginItems.h"
#include "system/QVRamDiskUtils.h"
#include "tests/system/SystemTest.h"

namespace platform {

class Window {};

}  // namespace platform

namespace {

using platform::LoginItem;
using Names = std::vector<std::string>;

const std::string kOwn = "/opt/tarnvale/Tarnvale-Helper.app";
const std::string kElsewhere = "/home/user/Tarnvale-Helper.app";

LoginItem item(const std::string& reference, const std::string& name,
               const std::optional<std::string>& path, bool stale = false) {
  return {name, reference, path, stale};
}

class LoginItemsTest : public SystemTest {
 protected:
  // "listed/valid"
  static std::string state(const std::optional<std::string>& path = kOwn) {
    bool isValid = false;
    const bool isListed = QVSharedLoginItems::isLoginItem(path, isValid);
    return std::to_string(isListed) + "/" + std::to_string(isValid);
  }
};

TEST_F(LoginItemsTest, AnItemCountsByWhatItStartsAndOtherwiseByItsName) {
  const struct {
    LoginItem item;
    const char* state;
    bool isRemovedByAdding;
    bool isRemovedByRemoving;
  } rows[] = {
      {item("1", "anything", kOwn), "1/1", false, true},
      {item("2", "Tarnvale-Helper", kOwn), "1/1", false, true},
      {item("3", "Tarnvale-Helper", kElsewhere), "1/0", true, true},
      {item("4", "Tarnvale-Helper.app", kElsewhere), "1/0", true, true},
      {item("5", "Tarnvale-Helper", {}, true), "1/0", true, true},
      {item("6", "Tarnvale-Helper.app", kOwn, true), "1/0", true, true},
      {item("7", "Tarnvale-Helper", {}), "0/0", false, false},  // resolution failed otherwise
      {item("8", "tarnvale-helper", kElsewhere), "0/0", false, false},
      {item("9", "Tarnvale-Helper 2", kElsewhere), "0/0", false, false},
      {item("10", "anything", kElsewhere), "0/0", false, false},
      {item("11", "anything", kOwn, true), "0/0", false, false},
  };
  for (const auto& row : rows) {
    loginItems->items = {row.item};
    loginItems->removals.clear();
    EXPECT_EQ(state(), row.state) << row.item.reference;
    EXPECT_TRUE(QVSharedLoginItems::addLoginItem(kOwn));
    EXPECT_EQ(loginItems->removals.size(), row.isRemovedByAdding) << row.item.reference;
    EXPECT_EQ(state().substr(2), "1") << row.item.reference;
    EXPECT_EQ(loginItems->items.back().path, kOwn);
    loginItems->items = {row.item};
    EXPECT_EQ(QVSharedLoginItems::removeLoginItem(kOwn), row.isRemovedByRemoving);
    EXPECT_EQ(loginItems->items.empty(), row.isRemovedByRemoving) << row.item.reference;
  }
}

TEST_F(LoginItemsTest, AddingAppendsOneItemAndAFailedRemovalDoesNotEndTheWalk) {
  loginItems->items = {item("a", "Tarnvale-Helper", kElsewhere), item("b", "Other", "/bin/other"),
                       item("c", "Tarnvale-Helper", {}, true)};
  loginItems->irremovable = "a";
  EXPECT_TRUE(QVSharedLoginItems::addLoginItem(kOwn));
  EXPECT_EQ(loginItems->removals, (Names{"a", "c"}));
  EXPECT_EQ(log->count("LSSharedFileListItemRemove:-50 urlRef:" + kElsewhere), 1U);
  ASSERT_EQ(loginItems->items.size(), 3U);
  EXPECT_EQ(loginItems->items[2].path, kOwn);
  EXPECT_TRUE(QVSharedLoginItems::addLoginItem(kOwn));
  EXPECT_EQ(loginItems->items.size(), 3U);
}

TEST_F(LoginItemsTest, WhatCannotBeReadOrChangedIsToldAndAnAbsentPathIsNot) {
  const auto fails = [](const std::optional<std::string>& path) {
    return state(path) == "0/0" && !QVSharedLoginItems::addLoginItem(path) &&
           !QVSharedLoginItems::removeLoginItem(path);
  };
  EXPECT_TRUE(fails(std::nullopt));
  EXPECT_EQ(log->entries().size(), 0U);
  loginItems->insertion = platform::SystemError{"POSIX", 30, "read-only"};
  EXPECT_FALSE(QVSharedLoginItems::addLoginItem(kOwn));
  loginItems->unreadable = true;
  EXPECT_TRUE(fails(kOwn));
  EXPECT_EQ(log->count("snapshot==NULL"), 3U);
}

TEST_F(LoginItemsTest, TheRunningApplicationKnowsItsStatus) {
  applications->paths[bundle->identifier()] = kOwn;
  EXPECT_EQ(QVAppInLoginItem::loginItemStatus(), 0);
  loginItems->items = {item("a", "Tarnvale-Helper", {}, true)};
  EXPECT_EQ(QVAppInLoginItem::loginItemStatus(), -1);
  loginItems->items.push_back(item("b", "x", kOwn));
  EXPECT_EQ(QVAppInLoginItem::loginItemStatus(), 1);
}

TEST_F(LoginItemsTest, TheInstructionsAreASheetWhereThereAreSheets) {
  const auto window = std::make_shared<platform::Window>();
  QVAppInLoginItem::setIsLoginItem(true, window);
  ASSERT_EQ(alerts->shown.size(), 1U);
  EXPECT_EQ(alerts->shown[0].title, "Relaunch tarnvale-test on Login.");
  EXPECT_EQ(alerts->shown[0].text,
            "Drag & Drop tarnvale-test to \"Login Items\" section of Accounts Preferences.");
  EXPECT_EQ(alerts->shown[0].buttons, (Names{"Ok", "Open Accounts Preferences"}));
  QVAppInLoginItem::showHowTo(nullptr);
  EXPECT_EQ(log->count("window==nil"), 1U);
  EXPECT_EQ(alerts->shown.size(), 3U) << "the impossible state has an alert of its own";

  alerts->sheets = true;
  QVAppInLoginItem::showHowTo(window);
  EXPECT_EQ(alerts->shown.size(), 3U);
  ASSERT_TRUE(alerts->endSheet);
  alerts->endSheet(0);
  alerts->endSheet(1);
  EXPECT_TRUE(workspace->opened.empty()) << "the pane is not there";
}

TEST_F(LoginItemsTest, TheHelperIsStartedInPlaceOfEveryCopy) {
  EXPECT_EQ(QVRamDiskUtils::helperURL(), std::nullopt);
  QVRamDiskUtils::setHelperIsRunning(true);
  EXPECT_EQ(log->count("launchApplicationAtURL==NO"), 1U);
  EXPECT_TRUE(workspace->launched.empty());

  const std::string helper = scratch.file("helper");
  applications->paths = {{kHelperBundleId, helper},
                         {"com.apple.ActivityMonitor", helper},
                         {"com.apple.DiskUtility", scratch.path("missing")}};
  EXPECT_EQ(QVRamDiskUtils::activityMonitorURL(), helper);
  EXPECT_EQ(QVRamDiskUtils::diskUtilityURL(), std::nullopt);
  EXPECT_FALSE(QVRamDiskUtils::helperIsRunning());
  applications->applications = {{71, kHelperBundleId, {}}, {72, kHelperBundleId, {}}};
  applications->refusing = {72};
  EXPECT_TRUE(QVRamDiskUtils::helperIsRunning());
  QVRamDiskUtils::setHelperIsRunning(true);
  EXPECT_EQ(applications->asked, (std::vector<std::int64_t>{71, 72}));
  EXPECT_EQ(applications->forced, std::vector<std::int64_t>{72});
  ASSERT_EQ(workspace->launched.size(), 1U);
  EXPECT_EQ(workspace->launched[0].first, helper);
  EXPECT_EQ(workspace->launched[0].second, Names{"FromApp"});
  QVRamDiskUtils::setHelperIsRunning(false);
  EXPECT_EQ(workspace->launched.size(), 1U);
  workspace->succeeds = false;
  QVRamDiskUtils::setHelperIsRunning(true);
  EXPECT_EQ(log->count("launchApplicationAtURL==NO URL:" + helper), 1U);
}

}  // namespace
