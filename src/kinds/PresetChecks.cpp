#include "kinds/PresetChecks.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "kinds/KindCatalogue.h"
#include "platform/Services.h"
#include "system/QVMacInfo.h"

namespace kinds {
namespace {

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

}  // namespace

PresetChecks::PresetChecks(const platform::ApplicationFacts& application,
                           const platform::Preset& preset, std::optional<std::string> device,
                           FoundFolders& folders)
    : preset_(preset),
      device_(std::move(device)),
      folders_(folders),
      applicationPath_(applicationPath(application)) {}

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
  return folders_.find(preset_.mountDirectory, preset_.namePrefix);
}

}  // namespace kinds
