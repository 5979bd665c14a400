// Who shows which icon, what is kept, and how pictures are put together.

#include <utime.h>

#include "ramdisk/QVRamDisk.h"
#include "system/QVFinderTools.h"
#include "system/QVFunctions.h"
#include "system/QVMacInfo.h"
#include "system/QVRamDiskFunctions.h"
#include "tests/kinds/World.h"
#include "tests/support/Faults.h"
#include "tests/support/RecordingGraphics.h"

namespace {

using doubles::Calls;
using doubles::drawingOf;
using doubles::nameOf;

constexpr char kGeneric[] = "RamDisk_10.10_128 as 128x128";

class IconsTest : public testing::Test {
 protected:
  IconsTest() {
    world.graphics = graphics;
    for (const char* generation : {"10.10", "10.6"}) {
      graphics->name("RamDisk_" + std::string(generation) + "_16", 16);
      graphics->name("RamDisk_" + std::string(generation) + "_128", 128);
    }
    install();
  }
  ~IconsTest() override { QVMacInfo::forgetCachedAnswers(); }

  void install() {
    world.install(world.places);
    auto all = platform::services();
    all.files = std::make_shared<FaultyFiles>(faults);
    platform::install(all);
  }

  std::string installed(QVRamDiskType type, const std::string& name) {
    platform::KindFacts facts{.type = type};
    facts.application.usualPlace = world.scratch.directory(name);
    facts.preset.name = "caches";
    world.places->kinds.push_back(facts);
    install();
    return facts.application.usualPlace;
  }

  static QVRamDiskPtr mountedAt(const std::string& path) {
    auto disk = QVRamDisk::init();
    disk->setStatus(QVRamDiskStatus_mounted);
    disk->setPath(path);
    return disk;
  }

  World world;
  FaultPlanPtr faults = std::make_shared<FaultPlan>();
  std::shared_ptr<doubles::RecordingGraphics> graphics =
      std::make_shared<doubles::RecordingGraphics>();
};

TEST_F(IconsTest, TheGenericPictureIsKeptInTwoSizes) {
  const auto large = QVRamDiskManager::ramDiskIcon(128);
  EXPECT_EQ(nameOf(large), kGeneric);
  EXPECT_EQ(QVRamDiskManager::ramDiskIcon(128), large);
  EXPECT_EQ(nameOf(QVRamDiskManager::ramDiskIcon(16)), "RamDisk_10.10_16 as 16x16");
  EXPECT_EQ(QVRamDiskManager::ramDiskIcon(32), nullptr);
  world.machine->systemMajor = 10;
  world.machine->systemMinor = 9;
  QVMacInfo::forgetCachedAnswers();
  install();
  EXPECT_EQ(nameOf(QVRamDiskManager::ramDiskIcon(16)), "RamDisk_10.6_16 as 16x16");
}

TEST_F(IconsTest, KindsShowTheirApplicationsOrNone) {
  const auto safari = installed(QVRamDiskType_Safari, "Safari");
  const auto opera = installed(QVRamDiskType_Opera, "Opera");
  const auto icon = QVRamDiskManager::imageOfType(QVRamDiskType_Safari, 16);
  EXPECT_EQ(nameOf(icon), "file " + safari);
  EXPECT_EQ(QVRamDiskManager::specificIconFromType(QVRamDiskType_Safari, 1), icon);
  EXPECT_EQ(nameOf(QVRamDiskManager::imageOfType(QVRamDiskType_Opera, 128)), "file " + opera);
  for (const auto type : {QVRamDiskType_XcodeBuild, QVRamDiskType_CoreSimulator,
                          QVRamDiskType_Firefox, QVRamDiskType_Chrome})
    EXPECT_EQ(QVRamDiskManager::imageOfType(type, 128), nullptr) << type;
  for (const auto type : {QVRamDiskType_Default, QVRamDiskType_Reserved, QVRamDiskType(10)}) {
    EXPECT_EQ(nameOf(QVRamDiskManager::imageOfType(type, 128)), kGeneric) << type;
    EXPECT_EQ(QVRamDiskManager::specificIconFromType(type, 128), nullptr) << type;
  }
}

TEST_F(IconsTest, AnApplicationThatIsMissingOnceStaysMissing) {
  EXPECT_EQ(QVRamDiskManager::imageOfType(QVRamDiskType_AppCodeCaches, 128), nullptr);
  platform::KindFacts facts{.type = QVRamDiskType_AppCodeCaches};
  facts.application.usualPlace = world.scratch.directory("AppCode");
  world.places->kinds.push_back(facts);
  EXPECT_EQ(QVRamDiskManager::imageOfType(QVRamDiskType_AppCodeCaches, 128), nullptr);
  install();
  EXPECT_NE(QVRamDiskManager::imageOfType(QVRamDiskType_AppCodeCaches, 128), nullptr);
}

TEST_F(IconsTest, SimulatorsShowTheFirstSimulatorInXcodeElseXcode) {
  const auto shown = [&] {
    install();
    const auto icon = QVRamDiskManager::imageOfType(QVRamDiskType_CoreSimulator, 128);
    EXPECT_EQ(QVRamDiskManager::imageOfType(QVRamDiskType_IOsSimulator, 128), icon);
    return nameOf(icon);
  };
  const auto xcode = installed(QVRamDiskType_XcodeBuild, "Xcode.app");
  EXPECT_EQ(shown(), "file " + xcode);
  constexpr char kDeveloper[] = "/Contents/Developer/";
  for (const char* inside :
       {"Platforms/iPhoneSimulator.platform/Developer/Applications/iPhone Simulator.app",
        "Applications/iOS Simulator.app", "Applications/Simulator.app"}) {
    const auto place = std::string(kDeveloper).append(inside);
    world.scratch.directory("Xcode.app" + place);
    EXPECT_EQ(shown(), "file " + xcode + place);
  }
}

TEST_F(IconsTest, AnInstalledApplicationWithoutAnIconHasOurs) {
  graphics->filesHaveIcons = false;
  graphics->name("kind-chrome", 128);
  graphics->name("kind-opera", 128);
  installed(QVRamDiskType_Chrome, "chrome");
  EXPECT_EQ(nameOf(QVRamDiskManager::specificIconFromType(QVRamDiskType_Chrome, 128)),
            "kind-chrome");
  EXPECT_EQ(QVRamDiskManager::specificIconFromType(QVRamDiskType_Opera, 128), nullptr)
      << "it is not installed";
}

// --- A disk's own icon

TEST_F(IconsTest, ADisksIconIsACopyMadeAnewAtAlmostEveryCall) {
  const auto disk = QVRamDisk::init();
  const auto icon = disk->displayIcon(32);
  EXPECT_EQ(nameOf(icon), std::string(kGeneric) + " as 32x32");
  EXPECT_NE(disk->displayIcon(32), icon);
  EXPECT_EQ(nameOf(disk->displayIcon(48)), std::string(kGeneric) + " as 48x48");
  EXPECT_NE(disk->displayIcon(128), QVRamDiskManager::ramDiskIcon(128));
  EXPECT_TRUE(world.alerts->shown.empty());
  EXPECT_EQ(disk->displayIcon(64), nullptr);
  EXPECT_EQ(world.alerts->shown.size(), 1U);
  EXPECT_EQ(world.log->count("sizeIdx==-1"), 1U);
}

TEST_F(IconsTest, AKindsBadgeStandsAtTheBottomRight) {
  const auto firefox = installed(QVRamDiskType_Firefox, "firefox");
  const auto disk = QVRamDisk::init();
  disk->changeToType(QVRamDiskType_Firefox, 0);
  for (const auto& [size, badge] : {std::pair("32 32]", "[16 0 16 16]"),
                                    {"48 48]", "[24 0 24 24]"},
                                    {"128 128]", "[96 0 32 32]"}}) {
    const auto icon = disk->displayIcon(std::stod(size));
    EXPECT_EQ(icon->size().width, std::stod(size));
    EXPECT_EQ(
        drawingOf(icon),
        (Calls{"image " + std::string(kGeneric) + " [0 0 " + size + " from [0 0 128 128] over 1",
               "image file " + firefox + " " + badge + " from [0 0 32 32] over 1"}));
  }
  disk->changeToType(QVRamDiskType_Default, 0);
  EXPECT_EQ(nameOf(disk->displayIcon(32)), std::string(kGeneric) + " as 32x32");
}

TEST_F(IconsTest, OnlyAMountedIdleDiskShowsItsVolume) {
  const auto path = world.scratch.directory("volume");
  const auto shows = [&](const std::function<void(QVRamDisk&)>& change) {
    const auto disk = mountedAt(path);
    change(*disk);
    return nameOf(disk->displayIcon(32));
  };
  EXPECT_EQ(shows([](QVRamDisk&) {}), "file " + path + " as 32x32");
  const std::string generic = std::string(kGeneric) + " as 32x32";
  EXPECT_EQ(shows([](QVRamDisk& disk) { disk.setAction(QVRamDiskActionBackup); }), generic);
  EXPECT_EQ(shows([](QVRamDisk& disk) { disk.setStatus(QVRamDiskStatus_created); }), generic);
  EXPECT_EQ(shows([&](QVRamDisk& disk) { disk.setPath(path + "/missing"); }), generic);
  EXPECT_EQ(shows([](QVRamDisk& disk) { disk.setPath(std::nullopt); }), generic);
  graphics->filesHaveIcons = false;
  EXPECT_EQ(shows([](QVRamDisk&) {}), generic);
}

TEST_F(IconsTest, AVolumesIconIsTakenAnewWhenItsFileChanged) {
  const auto path = world.scratch.directory("volume");
  const auto file = world.scratch.file("volume/.VolumeIcon.icns", "icon");
  const auto setTime = [&](std::time_t seconds) {
    const utimbuf times{seconds, seconds};
    ASSERT_EQ(utime(file.c_str(), &times), 0);
  };
  const auto disk = mountedAt(path);
  const auto timesAsked = [&] {
    graphics->asked.clear();
    EXPECT_EQ(nameOf(disk->displayIcon(32)), "file " + path + " as 32x32");
    return graphics->asked.size();
  };
  setTime(1000);
  EXPECT_EQ(timesAsked(), 1U);
  EXPECT_EQ(timesAsked(), 0U);
  disk->changeToType(QVRamDiskType_Default, QVRamDiskChangeTypeKeepSettings);
  EXPECT_EQ(timesAsked(), 0U) << "it belongs to the volume, not to the kind";
  setTime(2000);
  EXPECT_EQ(timesAsked(), 1U);
  setTime(0);
  EXPECT_EQ(timesAsked() + timesAsked(), 2U) << "no time is no time to go by";
  faults->fail("times");
  EXPECT_EQ(timesAsked(), 1U);
  EXPECT_EQ(world.log->count("getModDate1970==NO volIconPath:" + file), 1U);
}

// --- Small pictures

TEST_F(IconsTest, MenuIconsAreKeptByName) {
  graphics->name("syncIcon", 20);
  graphics->name("NSCaution", 32);
  graphics->name("other", 16);
  const auto icon = QVRamDiskFunctions::icon16Named("syncIcon");
  EXPECT_EQ(nameOf(icon), "syncIcon as 16x16");
  graphics->named.erase("syncIcon");
  EXPECT_EQ(QVRamDiskFunctions::icon16Named("syncIcon"), icon);
  EXPECT_EQ(nameOf(QVRamDiskFunctions::icon16Named("NSCaution")), "NSCaution as 16x16");
  EXPECT_EQ(QVRamDiskFunctions::icon16Named("other"), nullptr);
  EXPECT_EQ(QVRamDiskFunctions::icon16Named("NSInfo"), nullptr);
  graphics->name("NSInfo", 32);
  EXPECT_NE(QVRamDiskFunctions::icon16Named("NSInfo"), nullptr) << "a miss is not kept";
  EXPECT_EQ(QVRamDiskFunctions::icon16Named("diskUtility"), nullptr);
  const auto disks = world.scratch.executable("disks", "");
  world.applications->paths["com.apple.DiskUtility"] = disks;
  EXPECT_EQ(nameOf(QVRamDiskFunctions::icon16Named("diskUtility")), "file " + disks + " as 16x16");
}

TEST_F(IconsTest, ALinksBadgeLiesOverItsType) {
  EXPECT_EQ(nameOf(QVFunctions::wsIconForFileHFSType("rmov", 16)), "hfs rmov as 16x16");
  EXPECT_EQ(QVFunctions::wsIconForFileHFSType("none", 16), nullptr);
  graphics->hfsAsked.clear();
  const std::string badge = "image hfs abdg as 16x16 [0 0 16 16] from [0 0 16 16] over 1";
  EXPECT_EQ(drawingOf(QVFinderTools::iconWithAliasMaskForType("txt")),
            (Calls{"image type txt as 16x16 [0 0 16 16] from [0 0 16 16] over 1", badge}));
  EXPECT_EQ(drawingOf(QVFinderTools::iconWithAliasMaskForType(std::nullopt)), Calls{badge});
  EXPECT_EQ(graphics->hfsAsked.size(), 1U) << "it is kept";
}

TEST_F(IconsTest, LabelsAreSpotsOfTheirColour) {
  class Desktop : public doubles::FakeWorkspace {
    std::vector<platform::FileLabel> fileLabels() const override {
      return {{"None", 0}, {"Red", 0xFF0000}, {"Blue", 0x0000FF}};
    }
  };
  EXPECT_TRUE(QVFinderTools::finderLabelsAsNameAndBadges().empty());
  world.workspace = std::make_shared<Desktop>();
  install();
  const auto labels = QVFinderTools::finderLabelsAsNameAndBadges();
  ASSERT_EQ(labels.size(), 2U);
  EXPECT_EQ(labels[0].label, "Red");
  EXPECT_EQ(labels[1].label, "Blue");
  EXPECT_EQ(labels[1].badge->size(), (platform::Size{16, 16}));
  const std::string oval = "M 14,8 C 8,14 C 2,8 C 8,2 C 14,8 Z ";
  EXPECT_EQ(drawingOf(labels[1].badge),
            (Calls{"fill " + oval + "rgba 0 0 1 1", "stroke 1 " + oval + "rgba 0.5 0.5 0.5 0.33"}));
}

}  // namespace
