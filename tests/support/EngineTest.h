#pragma once
// The engine on the real Linux port and the real disk tools, in a scratch home, with a log that can
// be read and calls that can be made to fail.

#include <condition_variable>

#include "ramdisk/QVRamDisk.h"
#include "tests/support/Doubles.h"
#include "tests/support/Faults.h"
#include "tests/support/Test.h"

// Keeps every report of an action and lets the test wait for its end.
class ActionRecorder : public QVRamDiskDelegate {
 public:
  void ramDiskDidUpdated(const QVRamDiskPtr& ramDisk) override;

  // Blocks until an end report came.
  void waitForEnd();

  // "action/code" of each report, with "!" where it carried an error.
  std::vector<std::string> reports() const;

  // Called at every report, on the action's thread.
  std::function<void(QVRamDisk&)> onReport;

 private:
  mutable std::mutex mutex_;
  std::condition_variable ended_;
  bool end_ = false;
  std::vector<std::string> reports_;
};

class EngineTest : public testing::Test {
 protected:
  static constexpr std::uint64_t kSize = 128'000'000;  // bytes, the smallest disk

  EngineTest();
  ~EngineTest() override;

  // A plain disk over home/desk/NAME, which is made, in the mode given; or a list's own record
  // made so.
  QVRamDiskPtr diskOver(const std::string& name, QVRamDiskBackupMode mode,
                        QVRamDiskPtr disk = QVRamDisk::init());
  // What diskOver() made the disk over.
  std::string folder(const std::string& name) const { return work + "/" + name; }
  std::string savedBase(const std::string& name) const {
    return folder(name) + " (Tarnvale Backup Base)";
  }

  // Runs an action to its end, on this thread where it may, and gives its error.
  QVErrorPtr perform(QVRamDiskAction action, const QVRamDiskPtr& disk);

  // The disk's lock, which nobody holds.
  static ActionLock lockOf(const QVRamDiskPtr& disk);

  // A tool of the test's own in place of one of the system's: a shell script.
  void replaceTool(platform::Tool tool, const std::string& script);

  // Detaches every device and empties home/desk.
  void TearDownDisks();

  // Attaches and formats a device by hand and gives its node.
  std::string freshDevice();
  std::size_t deviceCount();
  bool isMounted(const std::string& path);

  Scratch scratch;
  std::string home = scratch.directory("home");
  std::string work = scratch.directory("home/desk");
  FaultPlanPtr faults = std::make_shared<FaultPlan>();
  std::shared_ptr<doubles::RecordingLog> log = std::make_shared<doubles::RecordingLog>();
  std::shared_ptr<doubles::RecordingAlerts> alerts = std::make_shared<doubles::RecordingAlerts>();
  std::shared_ptr<doubles::DirectMainLoop> loop = std::make_shared<doubles::DirectMainLoop>();
  std::shared_ptr<doubles::FakeWorkspace> workspace = std::make_shared<doubles::FakeWorkspace>();
  std::shared_ptr<doubles::FakeNotifications> notifications =
      std::make_shared<doubles::FakeNotifications>();
  std::shared_ptr<FaultyPlaces> places;
  std::shared_ptr<ActionRecorder> recorder = std::make_shared<ActionRecorder>();
};

// The reason tag of an error, "" for none.
std::string reasonOf(const QVErrorPtr& error);
std::string messageOf(const QVErrorPtr& error);
