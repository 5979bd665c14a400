#include "tests/soak/Round.h"

#include <fmt/format.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string_view>

#include "leaf/DeviceNames.h"
#include "leaf/MountTable.h"
#include "tests/soak/Work.h"

namespace soak {
namespace {

namespace fs = std::filesystem;

constexpr char kBackupExtension[] = ".TarnvaleBackup";

bool isRescued(const std::string& item, const std::string& name) {
  return item.starts_with(name + " rescued") ||
         item.starts_with(name + " (Tarnvale Backup Base) rescued");
}

// What lies where a disk that is ejected has its contents.
struct Aftermath {
  std::string contents;              // the folder, "" for none
  std::vector<std::string> rescued;  // folders that the program kept under another name
  std::vector<std::string> strange;  // whatever else lies beside them

  bool settled() const { return !contents.empty() && strange.empty(); }
};

// A disk that keeps them in the directory itself, PLACE/NAME.
Aftermath aroundBase(const std::string& place, const std::string& name) {
  Aftermath aftermath;
  for (const auto& entry : fs::directory_iterator(place)) {
    const std::string item = entry.path().filename();
    if (item == name)
      aftermath.contents = entry.path();
    else
      (isRescued(item, name) ? aftermath.rescued : aftermath.strange).push_back(entry.path());
  }
  return aftermath;
}

// The only disk with a backup folder in `backups`, mounted at PLACE/NAME.
Aftermath aroundBackupFolder(const std::string& backups, const std::string& place,
                             const std::string& name) {
  Aftermath aftermath;
  for (const auto& entry : fs::directory_iterator(backups)) {
    const std::string extension = entry.path().extension();
    if (extension == kBackupExtension)
      aftermath.contents = entry.path();
    else
      (isRescued(extension, kBackupExtension) ? aftermath.rescued : aftermath.strange)
          .push_back(entry.path());
  }
  const Aftermath mounting = aroundBase(place, name);
  aftermath.rescued.insert(aftermath.rescued.end(), mounting.rescued.begin(),
                           mounting.rescued.end());
  aftermath.strange.insert(aftermath.strange.end(), mounting.strange.begin(),
                           mounting.strange.end());
  if (!mounting.contents.empty() && !fs::is_empty(mounting.contents))
    aftermath.strange.push_back(mounting.contents);
  return aftermath;
}

// What is wrong with it. A rescued folder will do where it holds all that must be there.
std::vector<std::string> faultsOf(const Aftermath& aftermath, const Model& model,
                                  bool volumeWasLost) {
  const auto faultsIn = [&](const std::string& folder) {
    return model.judge(readTree(folder), volumeWasLost);
  };
  auto faults = faultsIn(aftermath.contents);
  if (std::any_of(aftermath.rescued.begin(), aftermath.rescued.end(),
                  [&](const auto& folder) { return faultsIn(folder).empty(); }))
    faults.clear();
  for (const auto& item : aftermath.strange) faults.push_back("left over: " + item);
  return faults;
}

Aftermath aftermathOf(const Scenario& scenario, const std::string& place,
                      const std::string& backups) {
  return scenario.inBackupFolder ? aroundBackupFolder(backups, place, Round::kDisk)
                                 : aroundBase(place, Round::kDisk);
}

// The views point into `table`.
std::set<std::string_view> devicesIn(const std::vector<MountLine>& table) {
  std::set<std::string_view> devices;
  for (const auto& mount : table)
    if (liesInDeviceFolder(mount.mountedOn)) devices.insert(mount.device);
  return devices;
}

// Devices that are attached in this mount namespace, mounted or not.
std::size_t attachedDevices() {
  const auto text = readMountTable();
  return devicesIn(parseMountTable(text.value())).size();
}

bool isMounted(const std::string& path) {
  const auto text = readMountTable();
  const auto table = parseMountTable(text.value());
  return std::any_of(table.begin(), table.end(), [&](const MountLine& mount) {
    return withoutMountEscapes(mount.mountedOn) == path;
  });
}

}  // namespace

void loseVolumes() {
  const auto text = readMountTable();
  auto table = parseMountTable(text.value());
  const auto devices = devicesIn(table);
  std::reverse(table.begin(), table.end());  // what covers goes before what is covered
  for (const auto& mount : table)
    if (devices.contains(mount.device))
      umount2(withoutMountEscapes(mount.mountedOn).c_str(), MNT_DETACH);
  std::error_code ignored;
  std::filesystem::remove_all(kDeviceFolder, ignored);
}

Round::Round(std::string program, const Plan& plan, std::string home, Random& random)
    : plan_(plan),
      home_(std::move(home)),
      program_(std::move(program), home_ + "/log"),
      random_(random) {}

Report Round::run() {
  prepare();
  bringToTheAct();
  if (!report_.faults.empty()) return report_;
  act();
  goOn();
  settle();
  judge();
  return report_;
}

void Round::prepare() {
  fs::remove_all(home_);
  for (const auto& directory : {place_, backups_}) fs::create_directories(directory);
  setenv("HOME", home_.c_str(), 1);
  const Tree tree = firstTree(random_);
  stamp_ = kFiles;
  model_ = Model(tree);
  Words add = {"add", "--name", kDisk, "--directory", place_, "--size", "128M"};
  const Words mode =
      plan_.scenario.inBackupFolder ? Words{"--backup-dir", backups_} : Words{"--backup", "base"};
  add.insert(add.end(), mode.begin(), mode.end());
  if (program_.run(add).status != 0) note("stuck: add failed");
  if (plan_.scenario.inBackupFolder) return fillBackupFolder(tree);
  writeTree(tree, folder_);
}

void Round::fillBackupFolder(const Tree& tree) {
  if (!must("create")) return;
  writeTree(tree, folder_);
  must("eject");
}

// Everything up to what is killed goes well.
void Round::bringToTheAct() {
  if (plan_.scenario.act == Act::Create || !must("create")) return;
  work();
  if (plan_.savesBefore && must(plan_.scenario.inBackupFolder ? "backup" : "sync")) {
    model_.saved();
    work();
  }
  if (plan_.scenario.act >= Act::CreateAfterLoss) lose();
}

void Round::act() {
  report_.act = program_.kill(wordsOfAct(), plan_.point);
  if (report_.act.killed) return;
  if (report_.act.status != 0)
    return note(fmt::format("stuck: the act ended with status {}", report_.act.status));
  if (plan_.scenario.act == Act::Save || plan_.scenario.act == Act::Eject ||
      plan_.scenario.act == Act::Rebuild)
    model_.saved();
}

// A volume that a creation may not have filled is no place to work in, and one that an eject holds
// read-only cannot be until the next action.
void Round::goOn() {
  const bool wasFull = plan_.scenario.act == Act::Save || plan_.scenario.act == Act::Eject;
  const bool canWork = isMounted(folder_) && access(folder_.c_str(), W_OK) == 0;
  if (plan_.worksOn && wasFull && canWork) work();
  if (plan_.loses) lose();
}

void Round::settle() {
  if (plan_.second) {
    report_.secondKill = program_.kill(verb(plan_.next), *plan_.second).killed;
    if (plan_.losesAgain) lose();
  }
  takeNextStep();
  bringBackEjected();
  const bool recovered = plan_.next == "recover" && !plan_.scenario.inBackupFolder;
  if (recovered || aftermathOf(plan_.scenario, place_, backups_).settled()) return;
  must("create");
  bringBackEjected();
}

// A verb that does not suit the disk's state refuses, and that is well.
void Round::takeNextStep() {
  const Outcome outcome = program_.run(verb(plan_.next));
  if (plan_.next == "recover" && outcome.status != 0)
    note(fmt::format("stuck: recover ended with status {}", outcome.status));
}

void Round::bringBackEjected() {
  if (!isMounted(folder_) && attachedDevices() != 0) program_.run(verb("remount"));
  if (isMounted(folder_)) must("eject");
}

void Round::judge() {
  if (isMounted(folder_)) return note("stuck: the disk cannot be ejected");
  report_.strays = attachedDevices();
  loseVolumes();
  const Aftermath aftermath = aftermathOf(plan_.scenario, place_, backups_);
  report_.rescued = aftermath.rescued.size();
  for (const auto& fault : faultsOf(aftermath, model_, report_.lostVolume)) note(fault);
}

Words Round::verb(const std::string& name) const {
  return {name, name == "recover" ? "--all" : kDisk};
}

Words Round::wordsOfAct() const {
  switch (plan_.scenario.act) {
    case Act::Save:
      return verb(plan_.scenario.inBackupFolder ? "backup" : "sync");
    case Act::Eject:
      return verb("eject");
    case Act::Rebuild:
      return verb("rebuild");
    case Act::RecoverAfterLoss:
      return verb("recover");
    default:
      return verb("create");
  }
}

bool Round::must(const std::string& name) {
  const Outcome outcome = program_.run(verb(name));
  if (outcome.status != 0)
    note(fmt::format("stuck: {} ended with status {}", name, outcome.status));
  return outcome.status == 0;
}

void Round::work() { model_.became(workIn(folder_, model_.current(), stamp_, random_)); }

void Round::lose() {
  report_.lostVolume = report_.lostVolume || attachedDevices() != 0;
  loseVolumes();
}

}  // namespace soak
