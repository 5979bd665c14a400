#include <fmt/format.h>

#include "extensions/PropertyList.h"
#include "kinds/QVSimDevice.h"
#include "tests/kinds/World.h"

namespace {

using extensions::PropertyList;

constexpr char kType[] = "com.apple.CoreSimulator.SimDeviceType.";
constexpr char kRuntime[] = "com.apple.CoreSimulator.SimRuntime.";

// A user's library with the device folders that a test makes up.
class SimulatorDevices : public testing::Test {
 protected:
  SimulatorDevices() { fs::create_directories(devices()); }

  std::string devices(const std::string& below = {}) const {
    return world.home("Library/Developer/CoreSimulator/Devices" +
                      (below.empty() ? "" : "/" + below));
  }
  void put(const std::string& below, std::string_view bytes) const {
    world.scratch.file("home/Library/Developer/CoreSimulator/Devices/" + below, bytes);
  }
  void putPlist(const std::string& id, const PropertyList& plist, bool binary = true) const {
    put(id + "/device.plist", binary ? binaryPropertyList(plist) : xmlPropertyList(plist));
  }
  // A device that was used, with all that a list asks for.
  void device(const std::string& id, const std::string& name, const std::string& type = "iPhone-8",
              const std::string& runtime = "iOS-12-1", bool binary = true) const {
    putPlist(id,
             PropertyList::Dictionary{{"name", name},
                                      {"deviceType", kType + type},
                                      {"runtime", kRuntime + runtime},
                                      {"state", 1}},
             binary);
    put(id + "/data/Library/Preferences/first", "");
  }

  std::vector<std::string> listed() {
    std::vector<std::string> names;
    for (const auto& one : *list.devices()) names.push_back(*one->displayName());
    return names;
  }
  std::size_t logged(const std::string& text) const { return world.log->count(text); }

  World world;
  QVSimDeviceList list;
};

TEST_F(SimulatorDevices, AreReadFromEitherFormOfPropertyList) {
  device("AB-1", "Büro", "iPad-Air-2", "iOS-9-3", true);
  device("AB-2", "Phone", "iPhone-8", "iOS-12-1", false);
  fs::create_directories(devices("AB-2/data/Library"));
  fs::remove_all(devices("AB-2/data/Library/Preferences"));
  const timespec march{1'551'398'400, 999'999'999};
  const std::array<timespec, 2> both = {march, march};
  ASSERT_EQ(utimensat(AT_FDCWD, devices("AB-1/device.plist").c_str(), both.data(), 0), 0);
  const auto first = QVSimDevice::simDeviceWithDirId("AB-1");
  const auto second = QVSimDevice::simDeviceWithDirId("AB-2");
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->type(), "iPad-Air-2");
  EXPECT_EQ(first->version(), "9-3");
  EXPECT_EQ(first->dirId(), "AB-1");
  EXPECT_EQ(first->displayName(), "Büro (9-3)");
  EXPECT_EQ(first->plistModDate(), 1551398400.0);
  EXPECT_EQ(first->state(), 1);
  EXPECT_EQ(second->displayName(), "Phone (12-1)");
  EXPECT_EQ(second->state(), 0) << "its library holds folders alone";
  EXPECT_EQ(
      first->description(),
      fmt::format("<QVSimDevice {} type:iPad-Air-2 dirId:AB-1 name:Büro>", fmt::ptr(first.get())));
  EXPECT_TRUE(world.log->entries().empty());
  EXPECT_EQ(QVSimDevice({.dirId = "I", .name = "N"}).displayName(), "N");
  EXPECT_EQ(QVSimDevice({.dirId = "I", .version = "V"}).displayName(), "I");
}

TEST_F(SimulatorDevices, AreLookedForInTheirFolderOnly) {
  device("AB-1", "Phone");
  put("plain", "");
  put(".hidden/device.plist", "");
  fs::create_directory_symlink(devices("AB-1"), devices("link"));
  EXPECT_TRUE(QVSimDevice::canSimDeviceWithDirId("AB-1"));
  EXPECT_TRUE(QVSimDevice::canSimDeviceWithDirId("link"));
  using Id = std::optional<std::string>;
  for (const Id& id : {Id(), Id(""), Id("missing"), Id("plain"), Id(".hidden"), Id(".."),
                       Id("AB-1/.."), Id("AB-1/data")}) {
    EXPECT_FALSE(QVSimDevice::canSimDeviceWithDirId(id)) << id.value_or("nil");
    EXPECT_EQ(QVSimDevice::simDeviceWithDirId(id), nullptr);
    EXPECT_EQ(logged("canSimDeviceWithDirId==NO dirId:" + id.value_or("(null)")), 1U)
        << id.value_or("nil");
    world.log->clear();
  }
}

TEST_F(SimulatorDevices, OtherDevicesAreDroppedInSilenceAndDamagedOnesAreLogged) {
  device("watch", "Watch", "Apple-Watch", "watchOS-5-1");
  device("tv", "TV", "Apple-TV", "tvOS-12-1");
  device("good", "Phone");
  put(".DS_Store/device.plist", "");
  put("plain", "");
  list.update();
  EXPECT_EQ(listed(), std::vector<std::string>{"Phone (12-1)"});
  EXPECT_TRUE(world.log->entries().empty());

  const PropertyList::Dictionary whole = {{"name", "Phone"},
                                          {"deviceType", std::string(kType) + "iPhone-8"},
                                          {"runtime", std::string(kRuntime) + "iOS-12-1"}};
  for (const std::string key : {"name", "deviceType", "runtime"}) {
    auto part = whole;
    part.erase(key);
    putPlist("no-" + key, part);
    part[key] = PropertyList(7);
    putPlist("number-" + key, part);
  }
  putPlist("array", PropertyList::Array{});
  put("garbage/device.plist", "bplist00garbage");
  fs::create_directory(devices("bare"));
  list.update();
  EXPECT_EQ(listed(), std::vector<std::string>{"Phone (12-1)"});
  EXPECT_EQ(logged("device==nil file:" + devices()), 9U);
  EXPECT_EQ(logged("plist==nil plistPath:" + devices()), 3U) << "array, garbage, bare";
  EXPECT_EQ(logged("device==nil file:" + devices("bare")), 1U);

  fs::remove_all(devices("good/data/Library/Preferences"));  // it was never used
  list.update();
  EXPECT_TRUE(listed().empty());
  EXPECT_EQ(logged("empty device:<QVSimDevice"), 1U);
  EXPECT_EQ(list.simDeviceWithDirId("good"), nullptr);
  EXPECT_NE(QVSimDevice::simDeviceWithDirId("good"), nullptr);
}

TEST_F(SimulatorDevices, StandInOrderOfTypeVersionAndName) {
  device("1", "b", "iPhone-X", "iOS-9-3");
  device("2", "a", "iphone-8", "iOS-10-3");
  device("3", "B", "iPhone-8", "iOS-9-3");
  device("4", "C", "iPhone-8", "iOS-9-3");
  device("5", "a", "iPhone-8", "iOS-9-3");
  device("6", "z", "iPad-Air", "iOS-12-1");
  const std::vector<std::string> expected = {"z (12-1)", "a (10-3)", "a (9-3)",
                                             "B (9-3)",  "C (9-3)",  "b (9-3)"};
  EXPECT_EQ(listed(), expected);
  EXPECT_EQ(list.simDeviceWithDirId("3")->name(), "B");
  EXPECT_EQ(list.simDeviceWithDirId(std::nullopt), nullptr);
}

TEST_F(SimulatorDevices, AreReadOnce) {
  device("1", "first");
  EXPECT_EQ(listed().size(), 1U);
  device("2", "second");
  EXPECT_EQ(listed().size(), 1U);
  list.update();
  EXPECT_EQ(listed().size(), 2U);
  fs::remove_all(devices());
  EXPECT_EQ(listed().size(), 2U);
  world.log->clear();
  list.update();
  EXPECT_TRUE(listed().empty());
  EXPECT_TRUE(world.log->entries().empty()) << "a folder that is missing is no error";
}

}  // namespace
