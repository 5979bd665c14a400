// A kind of disk is data: a row of the platform's table (platform/KindTable.h) names the
// application, the preset, and the checks that say whether it can be used. This file interprets the
// rows:
//
//   - Several rows of one kind are alternatives, such as the ways in which a browser is installed;
//   the
//     first whose application is there stands for the kind, and the first of all where none is.
//   - The checks are made in their order; the first that fails gives the preset's status.
//   - Where a directory's name is only known by its beginning, it is searched for once and kept,
//     because while a disk is mounted over it the listing shows the disk.
//
// The table and the found names are kept for the life of the process. Any thread.

#include "kinds/Presets.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "core/QVError.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/DiskPlaces.h"
#include "system/Kept.h"
#include "system/QVMacInfo.h"

namespace kinds {
namespace {

using Table = std::shared_ptr<const platform::KindTable>;

// The paths in the table begin with the home directory, which never changes in a process.
Kept<Table>& keptTable() {
  static Kept<Table> kept;
  return kept;
}

Table table() {
  const auto& places = platform::services().places;
  return keptTable().get(
      places, [&] { return std::make_shared<const platform::KindTable>(places->kindTable()); });
}

bool isInstalled(const platform::KindFacts& facts) {
  const auto path = applicationPath(facts.application);
  return path && platform::services().files->exists(*path);
}

std::optional<std::string> search(const std::string& directory, const std::string& prefix) {
  const auto& files = platform::services().files;
  const auto names = files->names(directory);
  if (!names) {
    QVLogError("QVRamDiskManager", "dirContent==nil error:{}", QVDescription(names.error()));
    return std::nullopt;
  }
  const auto found = std::find_if(names->begin(), names->end(), [&](const std::string& name) {
    return name.starts_with(prefix) && !disk_places::isSavedBase(name) &&
           files->kind(extensions::appendingPathComponent(directory, name)) ==
               platform::FileKind::Directory;
  });
  return found == names->end() ? std::nullopt : std::optional(*found);
}

// Folders that are known by the beginning of their names alone. One once found is kept, whatever
// becomes of it; a search that found nothing is made again. Any thread.
class FoundFolders {
 public:
  // The name of the first directory in `directory`, in listing order, that begins with `prefix`.
  // What a RAM disk set aside there is not one. A listing that fails is logged and finds nothing.
  std::optional<std::string> find(const std::string& directory, const std::string& prefix);

  void forget();

 private:
  std::optional<std::string> known(const std::pair<std::string, std::string>& key) const;

  mutable std::mutex mutex_;
  std::map<std::pair<std::string, std::string>, std::string> names_;  // by directory and prefix
};

std::optional<std::string> FoundFolders::find(const std::string& directory,
                                              const std::string& prefix) {
  const std::pair key(directory, prefix);
  if (auto name = known(key)) return name;
  auto name = search(directory, prefix);
  const std::lock_guard lock(mutex_);
  if (name) names_[key] = *name;
  return name;
}

void FoundFolders::forget() {
  const std::lock_guard lock(mutex_);
  names_.clear();
}

std::optional<std::string> FoundFolders::known(
    const std::pair<std::string, std::string>& key) const {
  const std::lock_guard lock(mutex_);
  const auto found = names_.find(key);
  return found == names_.end() ? std::nullopt : std::optional(found->second);
}

FoundFolders& foundFolders() {
  static FoundFolders folders;
  return folders;
}

using platform::PresetCheck;
using Test = PresetCheck::Test;

bool beginsWithAnyChoice(std::string_view text, const std::vector<std::string>& choices) {
  return std::any_of(choices.begin(), choices.end(),
                     [&](const std::string& choice) { return text.starts_with(choice); });
}

// "54.0.1" gives 54, what is no number 0.
std::int64_t firstNumber(const std::string& version) {
  return std::strtoll(version.substr(0, version.find('.')).c_str(), nullptr, 10);
}

// Makes the checks of one preset on this machine. Lives no longer than what it is made from.
class PresetChecks {
 public:
  // `device` fills the placeholders of a preset for a simulator device.
  PresetChecks(const platform::ApplicationFacts& application, const platform::Preset& preset,
               std::optional<std::string> device);

  QVCreationInfos creationInfos() const;

 private:
  bool passes(const platform::PresetCheck& check) const;
  bool isVersionAccepted(const platform::PresetCheck& check) const;
  std::string filled(std::string text) const;
  std::optional<std::string> name() const;

  const platform::Preset& preset_;
  std::optional<std::string> device_;
  std::optional<std::string> applicationPath_;
};

PresetChecks::PresetChecks(const platform::ApplicationFacts& application,
                           const platform::Preset& preset, std::optional<std::string> device)
    : preset_(preset), device_(std::move(device)), applicationPath_(applicationPath(application)) {}

QVCreationInfos PresetChecks::creationInfos() const {
  for (const auto& check : preset_.checks)
    if (!passes(check)) return {.status = check.statusWhenFailing};
  return {.status = 1,
          .name = name(),
          .mountDirectory = filled(preset_.mountDirectory),
          .size = preset_.size};
}

bool PresetChecks::passes(const PresetCheck& check) const {
  switch (check.test) {
    case Test::Application:
      return applicationPath_ && platform::services().files->exists(*applicationPath_);
    case Test::SystemBelow:
      return !QVMacInfo::isAtLeastMacOSX(check.argument);
    case Test::Exists:
      return platform::services().files->exists(filled(check.argument));
    case Test::Writable:
      return platform::services().files->isWritable(filled(check.argument));
    case Test::FolderFound:
      return name().has_value();
    case Test::VersionBeginsWith:
    case Test::VersionBeginsWithNone:
    case Test::VersionAtLeast:
      return isVersionAccepted(check);
  }
  return false;
}

bool PresetChecks::isVersionAccepted(const PresetCheck& check) const {
  if (!applicationPath_) return false;
  const auto version =
      platform::services().applications->information(*applicationPath_, check.versionKey);
  if (!version) return false;
  if (check.test == Test::VersionAtLeast) return firstNumber(*version) >= check.number;
  return beginsWithAnyChoice(*version, check.choices) == (check.test == Test::VersionBeginsWith);
}

std::string PresetChecks::filled(std::string text) const {
  constexpr std::string_view kPlaceholder = "%@";
  const auto place = device_ ? text.rfind(kPlaceholder) : std::string::npos;
  if (place != std::string::npos) text.replace(place, kPlaceholder.size(), *device_);
  return text;
}

std::optional<std::string> PresetChecks::name() const {
  if (preset_.namePrefix.empty()) return filled(preset_.name);
  return foundFolders().find(preset_.mountDirectory, preset_.namePrefix);
}

}  // namespace

std::shared_ptr<const platform::KindFacts> factsOfType(std::int64_t type) {
  const Table all = table();
  const auto isOfType = [&](const platform::KindFacts& facts) { return facts.type == type; };
  const auto first = std::find_if(all->begin(), all->end(), isOfType);
  if (first == all->end()) return nullptr;
  const auto second = std::find_if(first + 1, all->end(), isOfType);
  if (second == all->end()) return {all, &*first};  // no application need be looked for
  const auto installed = std::find_if(first, all->end(), [&](const platform::KindFacts& facts) {
    return isOfType(facts) && isInstalled(facts);
  });
  return {all, installed == all->end() ? &*first : &*installed};
}

std::optional<std::string> applicationPath(const platform::ApplicationFacts& application) {
  if (!application.usualPlace.empty() && platform::services().files->exists(application.usualPlace))
    return application.usualPlace;
  if (application.bundleIdentifier.empty()) return std::nullopt;
  return platform::services().applications->pathOfApplication(application.bundleIdentifier);
}

std::optional<QVCreationInfos> creationInfosOf(std::int64_t type,
                                               const std::optional<std::string>& simId) {
  const auto facts = factsOfType(type);
  if (!facts) return std::nullopt;
  const bool forDevice = simId && facts->devicePreset.size > 0;
  const PresetChecks checks(facts->application, forDevice ? facts->devicePreset : facts->preset,
                            forDevice ? simId : std::nullopt);
  return checks.creationInfos();
}

void forgetPresets() {
  keptTable().forget();
  foundFolders().forget();
}

}  // namespace kinds
