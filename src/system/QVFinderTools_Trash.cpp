#include <algorithm>
#include <array>

#include "core/QVHelpers.h"
#include "core/QVLocalized.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/Kept.h"
#include "system/QVFinderTools.h"

namespace {

constexpr std::int64_t kAllowed = 1;
constexpr std::int64_t kNotPossible = 0;
constexpr std::int64_t kForbidden = -1;
constexpr std::int64_t kOwnFoldersOnly = 1;  // mode

constexpr std::array<std::string_view, 15> kFoldersOfTheUser = {"Desktop",
                                                                "Documents",
                                                                "Downloads",
                                                                "Library",
                                                                "Library/Application Support",
                                                                "Library/Caches",
                                                                "Library/Calendars",
                                                                "Library/Keychains",
                                                                "Library/Mail",
                                                                "Library/Preferences",
                                                                "Movies",
                                                                "Music",
                                                                "Music/iTunes",
                                                                "Pictures",
                                                                "Public"};

// The folders that are never moved. Where no home is known there are none, and nothing is inside.
struct Rules {
  std::optional<std::string> home;
  std::optional<std::string> library;
  std::vector<std::string> folders;
};

Rules rulesOf(const std::optional<std::string>& home) {
  if (!home) return {};
  Rules rules{home, extensions::appendingPathComponent(*home, "Library"), {*home}};
  for (const auto& folder : kFoldersOfTheUser)
    rules.folders.push_back(extensions::appendingPathComponent(*home, folder));
  return rules;
}

Rules keptRules() {
  static Kept<Rules> kept;
  const auto& places = platform::services().places;
  return kept.get(places, [&] { return rulesOf(places->home()); });
}

// Compares characters and no components: a neighbour whose name only begins so counts as inside.
bool isInside(const std::string& path, const std::optional<std::string>& folder) {
  return folder && path.starts_with(*folder);
}

std::int64_t refused(std::int64_t status, std::string_view key, QVFinderTools::Text* reason) {
  return QV_ReturnIntegerWithMessage(status, QVLocalized(key), reason);
}

std::int64_t statusByRules(const std::string& path, std::int64_t mode,
                           QVFinderTools::Text* reason) {
  const Rules rules = keptRules();
  if (std::find(rules.folders.begin(), rules.folders.end(), path) != rules.folders.end())
    return refused(kForbidden, "Deleting user directory is not allowed.", reason);
  if (mode == kOwnFoldersOnly) return kAllowed;
  if (!isInside(path, rules.home)) return refused(kForbidden, "", reason);
  if (isInside(path, rules.library))
    return refused(kForbidden, "Delete Library sub-directory is not allowed.", reason);
  return kAllowed;
}

}  // namespace

std::int64_t QVFinderTools::trashableStatusForFile(const Text& path, std::int64_t mode,
                                                   Text* reason) {
  const auto& files = platform::services().files;
  if (!path || files->kind(*path) == platform::FileKind::Missing)
    return refused(kNotPossible, "The file does not exist.", reason);
  if (!files->isDeletable(*path))
    return refused(kNotPossible, "Delete Access is not allowed.", reason);
  if (!files->isWritable(*path))
    return refused(kNotPossible, "Write Access is not allowed.", reason);
  return statusByRules(*path, mode, reason);
}
