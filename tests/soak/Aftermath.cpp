#include "tests/soak/Aftermath.h"

#include <algorithm>
#include <filesystem>

#include "tests/soak/Work.h"

namespace soak {
namespace {

namespace fs = std::filesystem;

constexpr char kBackupExtension[] = ".TarnvaleBackup";

bool isRescued(const std::string& item, const std::string& name) {
  return item.starts_with(name + " rescued") ||
         item.starts_with(name + " (Tarnvale Backup Base) rescued");
}

}  // namespace

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

Verdict judge(const Aftermath& aftermath, const Model& model, bool volumeWasLost) {
  Verdict verdict = model.judge(readTree(aftermath.contents), volumeWasLost);
  for (const auto& folder : aftermath.rescued) {
    if (verdict.faults.empty()) break;
    if (const Verdict kept = model.judge(readTree(folder), volumeWasLost); kept.faults.empty())
      verdict = kept;
  }
  for (const auto& item : aftermath.strange) verdict.faults.push_back("left over: " + item);
  return verdict;
}

}  // namespace soak
