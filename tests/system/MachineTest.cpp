#include "system/QVMacInfo.h"
#include "system/QVRamDiskUtils.h"
#include "tests/system/SystemTest.h"

namespace {

class MachineTest : public SystemTest {
 protected:
  void becomeSystem(int minor) const {
    machine->systemMajor = 10;
    machine->systemMinor = minor;
    QVMacInfo::forgetCachedAnswers();
  }
};

TEST_F(MachineTest, CountsMemoryInBytes) {
  QVMemoryStatistics counted{1, 1, 1, 1, 1, 1};
  EXPECT_FALSE(QVMacInfo::getMemoryStatistics(counted));
  EXPECT_EQ(counted.freeBytes + counted.compressedBytes, 0U);
  machine->pages = platform::VirtualMemoryPages{4096, 1, 2, 3, 4, 5, 1ULL << 32U};
  EXPECT_TRUE(QVMacInfo::getMemoryStatistics(counted));
  const auto& [free, active, inactive, wired, purgeable, compressed] = counted;
  EXPECT_EQ((std::vector{free, active, inactive, wired, purgeable, compressed}),
            (std::vector<std::uint64_t>{4096, 8192, 12288, 16384, 20480, 1ULL << 44U}));
}

TEST_F(MachineTest, DescribesModelAndProcessor) {
  machine->errorCode = -1;
  EXPECT_EQ(QVMacInfo::macModelType(), std::nullopt);
  EXPECT_EQ(QVMacInfo::processorInfo(), "0.00 Ghz (4)");
  EXPECT_EQ(log->count("QVMacInfo sysctl:-1"), 2U);
  machine->model = "Model7,1";
  machine->frequency = 2'995'000'000;
  EXPECT_EQ(QVMacInfo::macModelType(), "Model7,1");
  EXPECT_EQ(QVMacInfo::processorInfo(), "0.00 Ghz (4)") << "it is kept";
  QVMacInfo::forgetCachedAnswers();
  EXPECT_TRUE(QVMacInfo::processorInfo() == "3.00 Ghz (4)" ||
              QVMacInfo::processorInfo() == "2.99 Ghz (4)");
  machine->memory = 1;
  EXPECT_EQ(QVMacInfo::physicalMemory(), 1U);
  machine->memory = 2;
  EXPECT_EQ(QVMacInfo::physicalMemory(), 1U) << "it is kept";
}

TEST_F(MachineTest, TellsItsUptimeByThresholds) {
  const std::pair<double, const char*> cases[] = {
      {119, "119, 119 sec(s)"},     {120, "120, 2.00 minutes"}, {3600, "3600, 60.00 minutes"},
      {3601, "3601, 1.00 hour"},    {7200, "7200, 2.00 hours"}, {172800, "172800, 48.00 hours"},
      {172801, "172801, 2.00 days"}};
  for (const auto& [seconds, text] : cases) {
    machine->uptimeSeconds = seconds;
    EXPECT_EQ(QVMacInfo::systemUptime(), text);
  }
}

TEST_F(MachineTest, TestsSystemVersionsOnce) {
  const auto answers = [] {
    return std::vector<bool>{
        QVMacInfo::isAtLeastMacOSX("10.14"), QVMacInfo::isAtLeastMacOSX("10.13"),
        QVMacInfo::isAtLeastMacOSX("10.12"), QVMacInfo::isElCapitanOrBetter(),
        QVMacInfo::isYosemiteOrBetter(),     QVMacInfo::isMavericksOrBetter()};
  };
  for (int minor = 8; minor <= 15; ++minor) {
    machine->product = "10." + std::to_string(minor) + ".5";
    becomeSystem(minor);
    const std::vector<bool> expected = {minor >= 14, minor >= 13, minor >= 12,
                                        minor >= 11, minor >= 10, minor >= 9};
    EXPECT_EQ(answers(), expected) << minor;
    machine->systemMinor = 20 - minor;
    EXPECT_EQ(answers(), expected) << "kept as of " << minor;
  }
  machine->product.reset();
  machine->answersVersion = false;
  becomeSystem(15);
  EXPECT_EQ(answers(), std::vector<bool>(6, false));
  EXPECT_EQ(QVMacInfo::productSystemVersion(), std::nullopt);
  EXPECT_TRUE(log->entries().empty());
}

TEST_F(MachineTest, ReportsAVersionItHasNoRuleFor) {
  for (const char* version : {"10.11", "10.15", "10.14.1", ""})
    EXPECT_FALSE(QVMacInfo::isAtLeastMacOSX(version)) << version;
  EXPECT_EQ(log->count("CRITIRAL EXCEPTION isAtLeastMacOSX:"), 4U);
  EXPECT_EQ(log->count("QVMacInfo not yet supported"), 4U);
  EXPECT_EQ(alerts->shown.size(), 4U);
}

TEST_F(MachineTest, KnowsTheLookOfTheDesktop) {
  using Look = QV_OSAppearance;
  for (const auto& [style, dark] :
       {std::pair("dARK", true), {"Light", false}, {"Darker", false}, {"Dark", true}}) {
    defaults->strings["AppleInterfaceStyle"] = style;
    EXPECT_EQ(Look::isDarkMode(), dark) << style;
  }
  defaults->strings.clear();
  EXPECT_TRUE(Look::isDarkModeCached()) << "answers from what is kept";
  EXPECT_FALSE(Look::isDarkMode());
  EXPECT_FALSE(Look::isDarkModeCached());
  for (const auto& [variant, graphite] : {std::pair(0, false), {1, false}, {6, true}}) {
    if (variant != 0) defaults->integers["AppleAquaColorVariant"] = variant;
    EXPECT_EQ(Look::isGraphiteTheme(), graphite) << variant;
  }
}

TEST_F(MachineTest, LeavesPurgingToNewerSystems) {
  places->tools[platform::Tool::Purger] = scratch.executable("purge", "#!/bin/sh\n");
  machine->product = "10.9.5";
  becomeSystem(9);
  EXPECT_FALSE(QVRamDiskUtils::canPurgeMemory());
  EXPECT_FALSE(QVRamDiskUtils::purgeMemory());
  EXPECT_EQ(log->count("QVRamDiskUtils isMavericksOrBetter==YES"), 1U);
  machine->product = "10.8.5";
  becomeSystem(8);
  EXPECT_TRUE(QVRamDiskUtils::canPurgeMemory());
  places->tools.clear();
  EXPECT_FALSE(QVRamDiskUtils::canPurgeMemory());
  EXPECT_FALSE(QVRamDiskUtils::purgeMemory());
  EXPECT_EQ(log->count("QVRamDiskUtils task==nil"), 1U);
}

TEST_F(MachineTest, PurgesWithoutWaitingAndWithoutAZombie) {
  const auto fifo = scratch.path("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  places->tools[platform::Tool::Purger] =
      scratch.executable("purge", "#!/bin/sh\necho $$ $# > " + fifo + "\n");
  becomeSystem(8);
  EXPECT_TRUE(QVRamDiskUtils::purgeMemory());  // the tool ends only once the pipe is read
  pid_t tool = 0;
  int arguments = -1;
  std::ifstream(fifo) >> tool >> arguments;
  EXPECT_EQ(arguments, 0);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (kill(tool, 0) == 0 && std::chrono::steady_clock::now() < deadline)
    std::this_thread::yield();
  EXPECT_NE(kill(tool, 0), 0) << "the tool was not reaped";
}

}  // namespace
