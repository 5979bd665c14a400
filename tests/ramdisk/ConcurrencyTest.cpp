#include <atomic>

#include "ramdisk/QVRamDiskEntries.h"
#include "tests/support/EngineTest.h"

namespace {

// Counts an action's end on its own thread.
struct EndCounter : QVRamDiskEntriesDelegate {
  void ramDiskEntries(QVRamDiskEntries&, const QVRamDiskPtr& disk) override {
    if (disk->action() == QVRamDiskActionNone) ++ended;
  }
  void ramDiskEntriesProgress(QVRamDiskEntries&, const QVRamDiskPtr&,
                              const QVRamDiskProgress& progress) override {
    seen = progress.entries;
  }
  std::atomic<int> ended{0};
  std::atomic<std::uint64_t> seen{0};
};

class ConcurrencyTest : public EngineTest {};

// Run under the thread sanitizer this shows that what the main thread looks at while an action
// runs is safe to look at; without it, that nothing of it disturbs the action.
TEST_F(ConcurrencyTest, RefreshListAndSaveGoOnWhileActionsRun) {
  for (int i = 0; i < 300; ++i)
    scratch.file("home/desk/busy/" + std::to_string(i % 7) + "/file" + std::to_string(i),
                 "contents");
  const auto counter = std::make_shared<EndCounter>();
  const auto entries = QVRamDiskEntries::initWithDelegate(counter);
  for (const char* name : {"busy", "idle"}) {
    const auto disk = entries->addRamDisk();
    disk->setName(name);
    disk->setMountDirectory(work);
    disk->setSize(kSize);
    disk->setBackupMode(QVRamDiskBackupMode_Base);
  }
  const auto busy = entries->ramDisks()[0];
  const auto idle = entries->ramDisks()[1];
  entries->create(idle, 0);
  int expected = counter->ended;
  for (const auto action : {QVRamDiskActionCreate, QVRamDiskActionSyncWithBase,
                            QVRamDiskActionRebuild, QVRamDiskActionEject}) {
    entries->startAction(action, busy, 1);
    ++expected;
    while (counter->ended < expected) {
      entries->updatorAction();
      for (const auto& disk : entries->ramDisks()) {
        disk->displayName();
        disk->displayStatus();
        disk->diskUsage();
        disk->hasContents();
        disk->lastError();
      }
      ASSERT_TRUE(entries->writeRamDisksToDefaultLocation());
    }
    EXPECT_EQ(busy->lastError(), nullptr) << action;
  }
  EXPECT_EQ(readFile(folder("busy") + "/3/file3"), "contents");
  EXPECT_EQ(idle->status(), QVRamDiskStatus_mounted);
  EXPECT_GT(counter->seen, 0U);
}

}  // namespace
