#include "tests/support/EngineTest.h"

#include "device/QVRamDiskDevice.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/linux/LinuxServices.h"
#include "system/QVFunctions.h"

using Devices = std::vector<QVDeviceListEntry>;

void ActionRecorder::ramDiskDidUpdated(const QVRamDiskPtr& ramDisk) {
  if (onReport) onReport(*ramDisk);
  const std::lock_guard lock(mutex_);
  reports_.push_back(std::to_string(ramDisk->action()) + "/" +
                     std::to_string(ramDisk->lastActionInfo()) + (ramDisk->lastError() ? "!" : ""));
  end_ = ramDisk->action() == QVRamDiskActionNone;
  if (end_) ended_.notify_all();
}

void ActionRecorder::waitForEnd() {
  std::unique_lock lock(mutex_);
  ended_.wait(lock, [&] { return end_; });
  end_ = false;
}

std::vector<std::string> ActionRecorder::reports() const {
  const std::lock_guard lock(mutex_);
  return reports_;
}

EngineTest::EngineTest() {
  setenv("HOME", home.c_str(), 1);
  for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"}) unsetenv(name);
  platform::LinuxOptions options;
  options.identifier = "com.example.test";
  options.libexecDirectory = TARNVALE_LIBEXEC;
  options.resourcesDirectory = TARNVALE_RESOURCES;
  auto services = platform::linuxServices(options);
  const std::string failing =
      scratch.executable("failing-tool", "#!/bin/sh\necho 'injected failure' >&2\nexit 3\n");
  places = std::make_shared<FaultyPlaces>(
      dynamic_cast<const platform::LinuxPlaces&>(*services.places), faults, failing);
  services.systemLog = log;
  services.alerts = alerts;
  services.mainLoop = loop;
  services.workspace = workspace;
  services.notifications = notifications;
  services.places = places;
  services.files = std::make_shared<FaultyFiles>(faults);
  services.volumes = std::make_shared<FaultyVolumes>(faults);
  platform::install(services);
  QVRamDiskManager::forgetCachedAnswers();
}

// A device that a test left attached would hold its memory until the whole program ends.
EngineTest::~EngineTest() {
  faults->clear();
  places->replacements.clear();
  TearDownDisks();
}

void EngineTest::TearDownDisks() {
  QVErrorPtr error;
  for (const auto& device : QVRamDiskDevice::deviceList(false, error).value_or(Devices()))
    QVRamDiskDevice::ejectRamDiskDeviceNode(device.devNode, device.mountPoint, false);
  std::error_code ignored;  // it may be a mount point of the test's own
  std::filesystem::remove_all(work, ignored);
  std::filesystem::create_directory(work, ignored);
}

QVRamDiskPtr EngineTest::diskOver(const std::string& name, QVRamDiskBackupMode mode,
                                  QVRamDiskPtr disk) {
  scratch.directory("home/desk/" + name);
  disk->setName(name);
  disk->setMountDirectory(work);
  disk->setSize(kSize);
  disk->setBackupMode(mode);
  return disk;
}

QVErrorPtr EngineTest::perform(QVRamDiskAction action, const QVRamDiskPtr& disk) {
  disk->performAction(action, recorder, 0);
  if (action != QVRamDiskActionCleanUpFiles) recorder->waitForEnd();
  return disk->lastError();
}

ActionLock EngineTest::lockOf(const QVRamDiskPtr& disk) {
  const auto lock = ActionLock::take(disk->identifier());
  EXPECT_TRUE(lock) << QVDescription(lock.error());
  return lock.value().value();
}

void EngineTest::replaceTool(platform::Tool tool, const std::string& script) {
  places->replacements[tool] = scratch.executable("tool-" + std::to_string(static_cast<int>(tool)),
                                                  "#!/bin/sh\n" + script + "\n");
}

std::string EngineTest::freshDevice() {
  std::int64_t status = 0;
  std::optional<std::string> output;
  QVFunctions::executeCommand(places->realTool(platform::Tool::Attacher),
                              {"attach", "-nomount", "-plist", "ram://250000"}, status, &output,
                              nullptr);
  const auto start = output.value_or("").find("/dev/disk");
  if (start == std::string::npos) return "";
  const std::string node = output->substr(start, output->find('<', start) - start);
  QVFunctions::executeCommand(places->realTool(platform::Tool::Formatter), {"-v", "made", node},
                              status, nullptr, nullptr);
  return status == 0 ? node : "";
}

std::size_t EngineTest::deviceCount() {
  QVErrorPtr error;
  const auto devices = QVRamDiskDevice::deviceList(false, error);
  return devices ? devices->size() : 0;
}

bool EngineTest::isMounted(const std::string& path) {
  return QVRamDiskDevice::hasMountedVolumeAtPath(path) == 1;
}

std::string reasonOf(const QVErrorPtr& error) { return error ? error->reason() : ""; }
std::string messageOf(const QVErrorPtr& error) { return error ? error->message() : ""; }
