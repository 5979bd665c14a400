#include "ramdisk/Generation.h"

#include <algorithm>
#include <chrono>
#include <sstream>

#include "core/QVError.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/ExtendedAttributes.h"
#include "system/QVFunctions.h"

namespace {

using namespace disk_places;
using platform::services;

bool isThere(const std::string& path) { return services().files->exists(path); }

constexpr char kLacks[] = "lacks";
constexpr char kLacksUnlisted[] = "lacks unlisted";
constexpr char kMoving[] = "moving";
constexpr char kSaving[] = "saving";
// A clock that is only kept in step drifts by less than a thousandth.
constexpr double kMostDrift = 0.001;
constexpr double kLeadTolerance = 0.01;  // seconds

std::vector<std::string> splitAtZeros(std::string_view text) {
  std::vector<std::string> parts;
  for (auto end = text.find('\0'); end != std::string_view::npos; end = text.find('\0')) {
    parts.emplace_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  return parts;
}

std::string listText(const char* word, const std::vector<std::string>& lacking) {
  std::string text = std::string(word) + '\0';
  for (const std::string& path : lacking) (text += path) += '\0';
  return text;
}

double secondsOf(auto sinceEpoch) { return std::chrono::duration<double>(sinceEpoch).count(); }

double clockLead() {
  return secondsOf(std::chrono::system_clock::now().time_since_epoch()) -
         secondsOf(std::chrono::steady_clock::now().time_since_epoch());
}

bool wasSetBack(const SaveNote& note) {
  const double now = secondsOf(std::chrono::system_clock::now().time_since_epoch());
  const double elapsed = std::max(0.0, now - static_cast<double>(note.began.tv_sec));
  return clockLead() < note.clockLead - kLeadTolerance - elapsed * kMostDrift;
}

std::string written(const SaveNote& note) {
  return fmt::format("{} {} {} {:.3f}", note.generation, note.began.tv_sec, note.began.tv_nsec,
                     note.clockLead);
}

std::optional<SaveNote> parsed(const std::string& text) {
  std::istringstream words(text);
  words.imbue(std::locale::classic());
  SaveNote note;
  if (words >> note.generation >> note.began.tv_sec >> note.began.tv_nsec >> note.clockLead)
    return note;
  return std::nullopt;
}

}  // namespace

Generation::Generation(std::string folder, std::string_view previousExt)
    : folder_(std::move(folder)),
      previous_(previousOf(folder_, previousExt)),
      partial_(partialOf(folder_)),
      marker_(incompleteMarkOf(folder_)) {}

bool Generation::exists() const { return isThere(folder_); }

bool Generation::hasPrevious() const { return isThere(previous_); }

bool Generation::hasPartial() const { return isThere(partial_); }

bool Generation::hasGaps() const {
  return exists() && hasPrevious() && !isMarked() && !generationIdentity(folder_);
}

bool Generation::isMarked() const { return isThere(marker_); }

std::optional<std::string> Generation::whole() const {
  if (exists() && !isMarked()) return folder_;
  return hasPrevious() ? std::optional(previous_) : std::nullopt;
}

// A folder is made in one step; a file that is written would leave its beginning when cut off.
platform::Outcome Generation::mark() const {
  if (auto done = services().files->createDirectories(marker_); !done) return done;
  return services().files->flushNames(extensions::deletingLastPathComponent(marker_));
}

platform::Outcome Generation::unmark() const {
  if (!isMarked()) return {};
  if (auto done = services().files->remove(marker_); !done) return done;
  return services().files->flushNames(extensions::deletingLastPathComponent(marker_));
}

std::optional<std::string> generationIdentity(const std::string& folder) {
  std::string identity;
  if (!QVGetExtentedAttribute(&identity, kGenerationAttribute, folder)) return std::nullopt;
  return identity;
}

std::optional<std::string> giveNewIdentity(const std::string& folder) {
  auto identity = QVFunctions::UUIDString();
  if (!QVSetExtendedAttribute(identity, kGenerationAttribute, folder)) return std::nullopt;
  return identity;
}

GapNote gapNote(const std::string& folder) {
  const auto value = services().volumes->attribute(folder, kGapsAttribute);
  auto parts = splitAtZeros(value.value().value_or(""));
  if (parts.empty()) return {};
  const auto state = parts.front() == kMoving ? GapNote::State::Moving : GapNote::State::Lacks;
  parts.erase(parts.begin());
  return {state, std::move(parts)};
}

bool noteGaps(const std::string& folder, const GapNote& note) {
  auto& volumes = *services().volumes;
  if (note.state == GapNote::State::None) {
    if (!volumes.attribute(folder, kGapsAttribute)) return true;
    return static_cast<bool>(volumes.removeAttribute(folder, kGapsAttribute));
  }
  if (note.state == GapNote::State::Moving)
    return static_cast<bool>(
        volumes.setAttribute(folder, kGapsAttribute, listText(kMoving, note.paths)));
  return volumes.setAttribute(folder, kGapsAttribute, listText(kLacks, note.paths)) ||
         volumes.setAttribute(folder, kGapsAttribute, listText(kLacks, {}));
}

bool noteSeen(const std::string& folder, const std::optional<timespec>& moment) {
  auto& volumes = *services().volumes;
  if (!moment) return !lastSeen(folder) || volumes.removeAttribute(folder, kSeenAttribute);
  return static_cast<bool>(volumes.setAttribute(
      folder, kSeenAttribute, fmt::format("{} {}", moment->tv_sec, moment->tv_nsec)));
}

// Noting it moves the folder's own time on.
std::optional<timespec> noteSeenNow(const std::string& folder) {
  if (!noteSeen(folder, timespec{})) return std::nullopt;
  const auto now = changeTime(folder);
  return now && noteSeen(folder, *now) ? std::optional(*now) : std::nullopt;
}

std::optional<timespec> lastSeen(const std::string& folder) {
  const auto value = services().volumes->attribute(folder, kSeenAttribute);
  std::istringstream words(value.value().value_or(""));
  words.imbue(std::locale::classic());
  timespec moment{};
  if (words >> moment.tv_sec >> moment.tv_nsec) return moment;
  return std::nullopt;
}

void takeNotes(const std::string& folder) {
  if (generationIdentity(folder)) QVSetExtendedAttribute({}, kGenerationAttribute, folder);
  noteGaps(folder, {});
  noteSeen(folder, std::nullopt);
}

// --- A volume's notes

RefillNote refillNote(const std::string& volume) {
  using State = RefillNote::State;
  const auto names = services().volumes->attributeNames(volume);
  const auto value = services().volumes->attribute(volume, kRefillAttribute);
  if (!value) {
    const bool isListed = names && std::any_of(names->begin(), names->end(), [](const auto& name) {
                            return name.ends_with(kRefillAttribute);
                          });
    return {isListed ? State::UnderWay : State::Whole};
  }
  if (*value == kLacksUnlisted) return {State::LacksUnlisted};
  auto parts = splitAtZeros(*value);
  if (parts.empty() || parts.front() != kLacks) return {State::UnderWay};
  parts.erase(parts.begin());
  return {State::Lacks, std::move(parts)};
}

bool isRefillUnderWay(const std::string& volume) {
  return refillNote(volume).state == RefillNote::State::UnderWay;
}

platform::Outcome noteRefillBegun(const std::string& volume) {
  return services().volumes->setAttribute(volume, kRefillAttribute, kRefillUnderWay);
}

platform::Outcome noteRefillEnded(const std::string& volume,
                                  const std::vector<std::string>& lacking, bool unlisted) {
  auto& volumes = *services().volumes;
  if (lacking.empty() && !unlisted) return volumes.removeAttribute(volume, kRefillAttribute);
  if (!unlisted && volumes.setAttribute(volume, kRefillAttribute, listText(kLacks, lacking)))
    return {};
  return volumes.setAttribute(volume, kRefillAttribute, kLacksUnlisted);
}

std::optional<SaveNote> saveNote(const std::string& volume) {
  const auto value = services().volumes->attribute(volume, kSavedAttribute);
  auto note = value ? parsed(*value) : std::nullopt;
  if (!note || !wasSetBack(*note)) return note;
  QVLogWarning("QVRamDiskBackup", "the clock was set back, everything is saved anew: {}", volume);
  return std::nullopt;
}

std::optional<SaveNote> noteSaveBegun(const std::string& volume) {
  SaveNote note;
  note.clockLead = clockLead();
  if (!services().volumes->setAttribute(volume, kSavedAttribute, kSaving)) return std::nullopt;
  const auto now = changeTime(volume);
  if (!now) return std::nullopt;
  note.began = *now;
  return note;
}

void noteSaveEnded(const std::string& volume, const SaveNote& note) {
  const auto noted = services().volumes->setAttribute(volume, kSavedAttribute, written(note));
  if (!noted)
    QVLogWarning("QVRamDiskBackup", "the next save copies everything: {}",
                 QVDescription(noted.error()));
}
