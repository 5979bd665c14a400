#include "system/QVFinderTools.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "core/QVError.h"
#include "core/QVHelpers.h"
#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/Kept.h"

namespace {

constexpr std::array<std::string_view, 4> kAlwaysExcluded = {".file", ".Trash", ".localized",
                                                             "File Transfer Folder\x03\x0d"};

// What the user's own desktop settings of a folder are kept in.
constexpr std::array<std::string_view, 2> kFolderSettings = {".DS_Store", "Icon\r"};

constexpr std::array<std::string_view, 9> kVolumeRoot = {".vol",
                                                         ".file",
                                                         ".Trashes",
                                                         ".fseventsd",
                                                         ".Spotlight-V100",
                                                         ".hotfiles.btree",
                                                         ".DocumentRevisions-V100",
                                                         ".HFS+ Private Directory Data\r",
                                                         ".PKInstallSandboxManager-SystemSoftware"};

constexpr std::array<std::string_view, 9> kStartupRoot = {
    "dev", "net", "home", "cores", "mach_kernel", "mach.sym", "mach", "Network", "Volumes"};

constexpr std::array<std::string_view, 7> kStartupRootUnix = {"etc",  "var", "tmp",    "bin",
                                                              "sbin", "usr", "private"};

template <std::size_t Count>
bool holds(const std::array<std::string_view, Count>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string_view view(const char* name, std::size_t length) {
  return name ? std::string_view(name, length) : std::string_view();
}

}  // namespace

bool QVIsFilenameHiddenExcluded(const char* name, std::size_t length, std::int64_t mode) {
  const auto text = view(name, length);
  return holds(kAlwaysExcluded, text) || ((mode & 1) == 0 && holds(kFolderSettings, text));
}

bool QVIsVolumeHiddenFilename(const char* name, std::size_t length) {
  return holds(kVolumeRoot, view(name, length));
}

bool QVIsVolumeSystemHiddenFilename(const char* name, std::size_t length, std::int64_t mode) {
  const auto text = view(name, length);
  return holds(kVolumeRoot, text) || holds(kStartupRoot, text) ||
         (mode == 0 && holds(kStartupRootUnix, text));
}

namespace {

// No file can have an empty name nor one that a C string cannot carry.
bool isRepresentable(const std::optional<std::string>& name) {
  return name && !name->empty() && name->find('\0') == std::string::npos;
}

}  // namespace

bool QVFinderTools::isSystemFileNameInFolder(const Text& name, std::int64_t mode) {
  return isRepresentable(name) && QVIsFilenameHiddenExcluded(name->c_str(), name->size(), mode);
}

bool QVFinderTools::isVolumeHiddenFilename(const Text& name) {
  return isRepresentable(name) && QVIsVolumeHiddenFilename(name->c_str(), name->size());
}

bool QVFinderTools::isVolumeSystemHiddenFilename(const Text& name, std::int64_t mode) {
  return isRepresentable(name) && QVIsVolumeSystemHiddenFilename(name->c_str(), name->size(), mode);
}

bool QVFinderTools::displayFinderGetInfoOfPath(const Text& path) {
  const auto& services = platform::services();
  if (!path || services.files->kind(*path) == platform::FileKind::Missing) return false;
  const auto shown = services.workspace->showInformation(*path);
  if (shown) return true;
  QVLogError("QVFinderTools", "aed==nil errorInfo:{}", QVDescription(shown.error()));
  return false;
}

bool QVFinderTools::isFinderFolderAtFileURL(const Text& url) {
  const auto path = url ? extensions::pathOfFileUrl(*url) : std::nullopt;
  const auto& workspace = platform::services().workspace;
  return path && (workspace->isDirectory(*path) || workspace->isVolume(*path));
}

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

namespace {

using platform::Canvas;
using platform::Colour;
using platform::Compositing;
using platform::ImagePtr;
using platform::Point;
using platform::Size;

constexpr Size kSize{16, 16};

const platform::Graphics& graphics() { return *platform::services().graphics; }

Colour colourOf(std::uint32_t rgb) {
  const auto part = [rgb](unsigned shift) { return ((rgb >> shift) & 0xFFU) / 255.; };
  return Colour::rgb(part(16), part(8), part(0));
}

ImagePtr badgeOf(std::uint32_t colour) {
  return graphics().makeImage(kSize, [colour](Canvas& canvas) {
    platform::Path oval;
    oval.appendOval({2, 2, 12, 12});
    canvas.fill(oval, colourOf(colour));
    canvas.stroke(oval, Colour::white(0.5, 0.33));
  });
}

ImagePtr aliasBadge() {
  static Kept<ImagePtr> kept;
  return kept.get(platform::services().graphics,
                  [] { return graphics().resized(graphics().iconForHFSType("abdg"), kSize); });
}

}  // namespace

std::vector<QVFinderLabel> QVFinderTools::finderLabelsAsNameAndBadges() {
  std::vector<QVFinderLabel> labels;
  bool standsForNone = true;
  for (const auto& [name, colour] : platform::services().workspace->fileLabels())
    if (!std::exchange(standsForNone, false)) labels.push_back({name, badgeOf(colour)});
  return labels;
}

ImagePtr QVFinderTools::iconWithAliasMaskForType(const Text& type) {
  const ImagePtr badge = aliasBadge();
  const ImagePtr icon =
      type ? graphics().resized(graphics().iconForFileType(*type), kSize) : nullptr;
  return graphics().makeImage(kSize, [icon, badge](Canvas& canvas) {
    for (const ImagePtr& layer : {icon, badge})
      canvas.draw(layer, Point{0, 0}, Compositing::SourceOver, 1);
  });
}
