#include "core/Identifiers.h"
#include "extensions/PropertyList.h"
#include "platform/posix/FileDefaults.h"
#include "ramdisk/QVRamDiskPreferences.h"
#include "tests/support/EngineTest.h"

namespace {

using extensions::PropertyList;

class PreferencesTest : public EngineTest {
 protected:
  PreferencesTest() {
    auto services = platform::services();
    services.defaults = defaults;
    platform::install(services);
  }
  std::shared_ptr<doubles::FakeDefaults> defaults = std::make_shared<doubles::FakeDefaults>();
};

TEST_F(PreferencesTest, ABurstOfChangesIsSavedOnceAfterTheLast) {
  QVRamDiskPreferences preferences;
  for (const int style : {1, 2, 3}) {
    preferences.setStatusItemIconStyle(style);
    preferences.synchroniseDelayed();
  }
  EXPECT_EQ(loop->timerCount(), 1U);
  EXPECT_EQ(defaults->writes, 0);
  loop->fire();
  loop->fire();
  EXPECT_EQ(defaults->writes, 1);
  EXPECT_EQ(defaults->integers["StatusItemIconStyle"], 3);
  preferences.setStatusItemIconStyle(0);
  preferences.restoreFromUserDefaults();
  EXPECT_EQ(preferences.statusItemIconStyle(), 3);
}

TEST_F(PreferencesTest, TheApplicationsOwnFileSaysTheFirstStyle) {
  const std::string file = "home/.config/" + std::string(kMainAppBundleId) + ".plist";
  EXPECT_EQ(QVRamDiskPreferences::styleOfMainApplication(), 0);
  EXPECT_TRUE(log->entries().empty());
  for (const char* damaged : {"", "no list", "<plist/>"}) {
    scratch.file(file, damaged);
    EXPECT_EQ(QVRamDiskPreferences::styleOfMainApplication(), 0) << damaged;
  }
  const PropertyList::Dictionary list = {{"StatusItemIconStyle", 2}, {"Other", "kept"}};
  scratch.file(file, extensions::xmlPropertyList(list));
  EXPECT_EQ(QVRamDiskPreferences::styleOfMainApplication(), 2);
  scratch.file(file, extensions::binaryPropertyList(list));
  EXPECT_EQ(QVRamDiskPreferences::styleOfMainApplication(), 2);

  platform::FileDefaults theirs(scratch.path(file));
  EXPECT_TRUE(theirs.setInteger("StatusItemIconStyle", -1));
  EXPECT_EQ(theirs.string("Other"), "kept");
  EXPECT_EQ(QVRamDiskPreferences::styleOfMainApplication(), -1);
  scratch.file(file, "no list");
  EXPECT_FALSE(theirs.setInteger("StatusItemIconStyle", 1));
  EXPECT_EQ(readFile(scratch.path(file)), "no list");
}

}  // namespace
