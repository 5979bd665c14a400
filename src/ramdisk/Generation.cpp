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

std::string lackingText(const std::vector<std::string>& lacking) {
  std::string text = std::string(kLacks) + '\0';
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
      marker_(incompleteMarkOf(folder_)) {}

bool Generation::exists() const { return isThere(folder_); }

bool Generation::hasPrevious() const { return isThere(previous_); }

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

void takeIdentity(const std::string& folder) {
  if (generationIdentity(folder)) QVSetExtendedAttribute({}, kGenerationAttribute, folder);
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
  if (!unlisted && volumes.setAttribute(volume, kRefillAttribute, lackingText(lacking))) return {};
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
