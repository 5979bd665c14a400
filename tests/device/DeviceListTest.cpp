#include "device/QVRamDiskDevice.h"
#include "tests/support/EngineTest.h"

namespace {

using Entries = std::vector<std::string>;

// What the attacher prints, shortened to what its readers look at.
std::string image(const std::string& path, const std::string& entities) {
  return "<dict><key>image-path</key><string>" + path +
         "</string><key>system-entities</key><array>" + entities + "</array></dict>";
}

std::string entity(const std::string& node, const std::string& mountPoint = {}) {
  const std::string mounted =
      mountPoint.empty() ? "" : "<key>mount-point</key><string>" + mountPoint + "</string>";
  return "<dict><key>dev-entry</key><string>" + node + "</string>" + mounted + "</dict>";
}

std::string listing(const std::string& images) {
  return "<plist version=\"1.0\"><dict><key>images</key><array>" + images +
         "</array></dict></plist>";
}

class DeviceListTest : public EngineTest {
 protected:
  void prints(const std::string& output) {
    const std::string file = scratch.file("output", output);
    replaceTool(platform::Tool::Attacher, "[ \"$*\" = 'info -plist' ] && cat '" + file + "'");
  }

  Entries nodes() {
    QVErrorPtr error;
    const auto devices = QVRamDiskDevice::deviceList(false, error);
    EXPECT_EQ(error, nullptr);
    Entries found;
    for (const auto& device : devices.value_or(std::vector<QVDeviceListEntry>()))
      found.push_back(device.devNode + " " + device.mountPoint.value_or("-"));
    return found;
  }
};

TEST_F(DeviceListTest, OnlyMemoryImagesWithOneEntityCount) {
  const std::string disk3 = entity("/dev/disk3");
  const struct {
    const char* title;
    std::string output;
    Entries expected;
  } rows[] = {
      {"none attached", listing(""), {}},
      {"RAM images among others",
       listing(image("ram://2048", disk3) + image("/a.iso", entity("/dev/disk4")) +
               image("ram://4096", entity("/dev/disk5", "/Users/a/caf\xC3\xA9 &amp; co"))),
       {"/dev/disk3 -", "/dev/disk5 /Users/a/caf\xC3\xA9 & co"}},
      {"a partitioned image", listing(image("ram://2048", disk3 + entity("/dev/disk3s1"))), {}},
      {"no image path",
       listing("<dict><key>system-entities</key><array>" + disk3 + "</array></dict>"),
       {}},
      {"no device entry", listing(image("ram://2048", "<dict></dict>")), {}},
      {"wrong types",
       listing("<string>image</string>" +
               image("ram://2048", "<dict><key>dev-entry</key><integer>3</integer></dict>")),
       {}},
      {"no images", "<plist><dict></dict></plist>", {}},
      {"no property list", "hdiutil: no images", {}},
      {"nothing", "", {}},
  };
  for (const auto& row : rows) {
    prints(row.output);
    EXPECT_EQ(nodes(), row.expected) << row.title;
  }
}

TEST_F(DeviceListTest, TheIdentityOfAMountedVolumeIsAddedWhenAskedFor) {
  const auto number = platform::services().volumes->deviceNumber(work);
  ASSERT_TRUE(number);
  prints(listing(image("ram://2048", entity("/dev/disk3", work)) +
                 image("ram://2048", entity("/dev/disk4", "/nowhere")) +
                 image("ram://2048", entity("/dev/disk5"))));
  QVErrorPtr error;
  const auto devices = QVRamDiskDevice::deviceList(true, error);
  ASSERT_TRUE(devices && devices->size() == 3);
  EXPECT_EQ((*devices)[0].st_dev, *number);
  EXPECT_EQ((*devices)[1].st_dev, std::nullopt);
  EXPECT_EQ((*devices)[2].st_dev, std::nullopt);
  EXPECT_EQ(log->count("stat==-1 mountPoint:/nowhere"), 1U);
}

TEST_F(DeviceListTest, AFailingToolIsAnError) {
  faults->fail(FaultyPlaces::verb(platform::Tool::Attacher));
  QVErrorPtr error;
  EXPECT_EQ(QVRamDiskDevice::deviceList(false, error), std::nullopt);
  EXPECT_EQ(messageOf(error), "Can execute device list command");
  EXPECT_EQ(reasonOf(error), "executeCommand==NO");
  EXPECT_EQ(QVDescription(error->depends()), "injected failure\n");
}

TEST_F(DeviceListTest, NodesAndMountPointsLeadToOneAnother) {
  const std::string node = freshDevice();
  ASSERT_NE(node, "");
  const std::string path = work + "/not/yet/over here";
  std::optional<std::string> mounted;
  ASSERT_EQ(QVRamDiskDevice::mountDeviceNode(node, work + "/not/yet", "over here",
                                             QVRamDiskFormat_HFSPlus, QVRamDiskType_Default, "ID",
                                             mounted),
            nullptr);
  EXPECT_EQ(mounted, path);
  QVRamDiskDevice::Infos infos;
  ASSERT_TRUE(QVRamDiskDevice::getExtentedRamDiskInfos(infos, path));
  EXPECT_EQ(infos, QVRamDiskDevice::infosOf(node, "ID"));
  EXPECT_TRUE(QVRamDiskDevice::isVolumeOf("ID", path));
  EXPECT_FALSE(QVRamDiskDevice::isVolumeOf("OTHER", path));
  EXPECT_FALSE(QVRamDiskDevice::isVolumeOf(std::nullopt, path));
  QVErrorPtr error;
  EXPECT_EQ(QVRamDiskDevice::deviceNodeFromPath(path, error), node);
  EXPECT_EQ(QVRamDiskDevice::mountPointFromDeviceNode(node, error), path);
  EXPECT_EQ(QVRamDiskDevice::deviceNodeFromPath(path + "/", error), std::nullopt);
  EXPECT_EQ(QVRamDiskDevice::deviceNodeFromPath("/proc", error), std::nullopt);
  EXPECT_EQ(QVRamDiskDevice::mountPointFromDeviceNode("/dev/disk99", error), std::nullopt);
  EXPECT_EQ(error, nullptr);
  EXPECT_EQ(QVRamDiskDevice::hasMountedVolumeAtPath(path), 1);
  EXPECT_EQ(QVRamDiskDevice::hasMountedVolumeAtPath(work), 0);
  EXPECT_EQ(QVRamDiskDevice::hasMountedVolumeAtPath("/"), -1);
  EXPECT_EQ(QVRamDiskDevice::hasMountedVolumeAtPath(std::nullopt), -1);
  EXPECT_EQ(QVRamDiskDevice::hasMountedVolumeAtPath(work + "/missing"), -1);
}

TEST_F(DeviceListTest, AMountTableThatCannotBeReadIsAnError) {
  QVErrorPtr error;
  const auto told = [&] { return messageOf(error) + "|" + reasonOf(error); };
  for (const auto& [verb, reason] :
       {std::pair("mountCount", "volCount==-1"), {"mounts", "getfsstat==-1"}}) {
    faults->fail(verb);
    EXPECT_EQ(QVRamDiskDevice::deviceNodeFromPath(work, error), std::nullopt);
    EXPECT_EQ(told(), std::string("Can not get device node|") + reason);
    if (verb == std::string("mountCount")) {
      EXPECT_EQ(error->infos().at(0).key + error->infos()[0].info.value_or(""),
                "getfsstat==-1 errno" + std::to_string(EIO));
    }
    faults->fail(verb);
    EXPECT_EQ(QVRamDiskDevice::mountPointFromDeviceNode("/dev/disk4", error), std::nullopt);
    EXPECT_EQ(told(), std::string("Unable to get device list|") + reason);
    EXPECT_TRUE(std::holds_alternative<platform::SystemError>(error->depends()));
  }
  QVRamDiskDevice::deviceNodeFromPath(std::nullopt, error);
  EXPECT_EQ(told(), "Incorrect device path|path==nil");
  QVRamDiskDevice::mountPointFromDeviceNode(std::nullopt, error);
  EXPECT_EQ(told(), "Incorrect device node|deviceNode==nil");
}

TEST_F(DeviceListTest, TheInformationRecordIsKeptOnTheVolume) {
  const QVRamDiskDevice::Infos infos = {{"identifier", "A \"quoted\" \\ id"},
                                        {"deviceNode", "/dev/disk4"}};
  QVRamDiskDevice::Infos read;
  EXPECT_FALSE(QVRamDiskDevice::getExtentedRamDiskInfos(read, work));
  EXPECT_TRUE(QVRamDiskDevice::setExtendedRamDiskInfos(infos, work));
  EXPECT_TRUE(QVRamDiskDevice::getExtentedRamDiskInfos(read, work));
  EXPECT_EQ(read, infos);
  EXPECT_FALSE(QVRamDiskDevice::setExtendedRamDiskInfos({}, work));
  EXPECT_FALSE(QVRamDiskDevice::setExtendedRamDiskInfos(infos, std::nullopt));
  for (const char* worthless : {"", "= ;", "\"a\" = ", "\xFF\xFE\xFD", "/* only */"}) {
    ASSERT_TRUE(
        platform::services().volumes->setAttribute(work, kRamDiskInfoAttributeName, worthless));
    EXPECT_FALSE(QVRamDiskDevice::getExtentedRamDiskInfos(read, work)) << worthless;
  }
}

TEST_F(DeviceListTest, PostCommandsAreCheckedAndCompleted) {
  const std::string script = scratch.executable("run", "#!/bin/sh\n");
  const std::string plain = scratch.file("plain");
  const std::pair<std::optional<std::string>, std::string> rows[] = {
      {std::nullopt, "The path is not correct"},
      {"", "The path is not correct"},
      {"/", "The path is not correct"},
      {scratch.path("missing"), "The command file does not exist"},
      {"/bin", "The command file can not be a directory"},
      {plain, "The file path is not executable"},
      {script, ""},
  };
  for (const auto& [command, expected] : rows) {
    std::optional<std::string> raison;
    EXPECT_EQ(QVRamDiskDevice::canStartPostCommand(command, &raison), expected.empty());
    EXPECT_EQ(raison.value_or(""), expected);
  }
  EXPECT_EQ(QVRamDiskDevice::completePostCommand("env"), "/usr/bin/env");
  for (const char* unchanged : {"", " \n", "no such program here", "~/x", "/bin/ls", "nonesuch-x"})
    EXPECT_EQ(QVRamDiskDevice::completePostCommand(unchanged), unchanged);
}

}  // namespace
