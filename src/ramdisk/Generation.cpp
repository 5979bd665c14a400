#include "ramdisk/Generation.h"

#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/ExtendedAttributes.h"
#include "system/QVFunctions.h"

namespace {

using extensions::appendingPathExtension;
using platform::FileKind;
using platform::services;

constexpr char kMarkerExtension[] = "incomplete";
constexpr char kIdentityAttribute[] = "com.tarnvale.RamDiskGeneration";

bool isThere(const std::string& path) { return services().files->kind(path) != FileKind::Missing; }

}  // namespace

Generation::Generation(std::string folder, std::string_view previousExt)
    : folder_(std::move(folder)),
      previous_(appendingPathExtension(folder_, previousExt)),
      marker_(appendingPathExtension(folder_, kMarkerExtension)) {}

bool Generation::exists() const { return isThere(folder_); }

bool Generation::hasPrevious() const { return isThere(previous_); }

bool Generation::isMarked() const { return isThere(marker_); }

std::optional<std::string> Generation::whole() const {
  if (exists() && !isMarked()) return folder_;
  return hasPrevious() ? std::optional(previous_) : std::nullopt;
}

// A folder is made in one step; a file that is written would leave its beginning when cut off.
platform::Outcome Generation::mark() const {
  if (const auto done = services().files->createDirectories(marker_); !done) return done;
  return services().files->flushNames(extensions::deletingLastPathComponent(marker_));
}

platform::Outcome Generation::unmark() const {
  if (!isMarked()) return {};
  if (const auto done = services().files->remove(marker_); !done) return done;
  return services().files->flushNames(extensions::deletingLastPathComponent(marker_));
}

std::optional<std::string> generationIdentity(const std::string& folder) {
  std::string identity;
  if (!QVGetExtentedAttribute(&identity, kIdentityAttribute, folder)) return std::nullopt;
  return identity;
}

std::optional<std::string> giveNewIdentity(const std::string& folder) {
  auto identity = QVFunctions::UUIDString();
  if (!QVSetExtendedAttribute(identity, kIdentityAttribute, folder)) return std::nullopt;
  return identity;
}

void takeIdentity(const std::string& folder) {
  if (generationIdentity(folder)) QVSetExtendedAttribute({}, kIdentityAttribute, folder);
}
