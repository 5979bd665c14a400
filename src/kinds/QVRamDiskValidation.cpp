#include <algorithm>
#include <memory>
#include <vector>

#include "core/QVError.h"
#include "core/QVHelpers.h"
#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "extensions/Text.h"
#include "kinds/Presets.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "system/Kept.h"
#include "system/QVFunctions.h"
#include "system/QVMacInfo.h"

namespace {

using Message = QVRamDiskManager::Message;
using OptionalText = std::optional<std::string>;

constexpr std::string_view kTable = "QVRamDiskLocalizable";

constexpr std::uint64_t kSmallest = 128'000'000;
constexpr std::uint64_t kLargest = 128'000'000'000;

// What stays free for the system: less where there is little.
constexpr std::uint64_t kSmallMachine = 4ULL << 30U;
constexpr std::uint64_t kSmallReserve = 256'000'000;
constexpr std::uint64_t kReserve = 1'024'000'000;

bool refused(std::string_view key, Message& message) {
  return QV_ReturnNoWithMessage(QVLocalized(key, kTable), &message);
}

bool fitsInMemory(std::uint64_t size) {
  return size + QVRamDiskManager::memoryReserve() <= QVMacInfo::physicalMemory();
}

struct Rules {
  std::vector<std::string> system;
  std::vector<std::string> library;
  std::vector<std::string> allowedInLibrary;
};
using RulesPtr = std::shared_ptr<const Rules>;

Kept<RulesPtr>& keptRules() {
  static Kept<RulesPtr> kept;
  return kept;
}

RulesPtr rules() {
  const auto& places = platform::services().places;
  return keptRules().get(places, [&] {
    Rules made{places->protectedDirectories(), {}, places->allowedLibraryPrefixes()};
    if (places->home()) made.library = places->libraryPrefixes();
    return std::make_shared<const Rules>(std::move(made));
  });
}

bool beginsWithAny(std::string_view path, const std::vector<std::string>& prefixes) {
  return std::any_of(prefixes.begin(), prefixes.end(),
                     [&](const std::string& prefix) { return path.starts_with(prefix); });
}

// Whether the path is one of the system's own directories or below one.
bool isSystemDirectory(std::string_view path) {
  const RulesPtr kept = rules();
  return std::any_of(kept->system.begin(), kept->system.end(), [&](const std::string& one) {
    return path == one || path.starts_with(one + "/");
  });
}

// Whether the path is one of the user's settings and data that must stay on the disk. Compared as
// text: a sibling whose name only begins like the library's counts too. Never where the home
// directory is unknown.
bool isKeptLibraryDirectory(std::string_view path) {
  const RulesPtr kept = rules();
  return beginsWithAny(path, kept->library) && !beginsWithAny(path, kept->allowedInLibrary);
}

bool isOnLocalVolume(const std::string& directory) {
  if (!QVMacInfo::isMavericksOrBetter()) return true;
  const auto local = platform::services().volumes->isLocal(directory);
  if (local) return *local;
  QVLogError("QVRamDiskManager", "getResourceValue==NO URL:{} error:{}", directory,
             QVDescription(local.error()));
  return false;
}

// Why nothing can be mounted in the directory for what it is.
std::optional<std::string_view> faultOfDirectory(const std::string& directory) {
  switch (platform::services().files->kind(directory)) {
    case platform::FileKind::Missing:
      return "The mount directory does not exist.";
    case platform::FileKind::Other:
      return "The mount directory is not a directory.";
    case platform::FileKind::Directory:
      break;
  }
  if (!isOnLocalVolume(directory)) return "The mount directory is not local.";
  return std::nullopt;
}

// Why nothing can be mounted there for where it lies.
std::optional<std::string_view> faultOfPlace(const std::string& directory,
                                             const std::string& name) {
  const std::string mountPath = extensions::appendingPathComponent(directory, name);
  const auto& places = platform::services().places;
  if (isSystemDirectory(mountPath)) return "The mount directory can not be a system directory.";
  if (directory == places->usersDirectory()) return "The mount directory can not be /Users.";
  if (directory == places->volumesDirectory()) return "The mount directory can not be /Volumes.";
  if (isKeptLibraryDirectory(mountPath))
    return "The mount directory can not be a library sub directory.";
  return std::nullopt;
}

std::string_view keyOfCreation(QVRamDiskActionInfo info) {
  switch (info) {
    case QVRamDiskActionInfo_creatingCalculatingBaseDirSize:
      return "QVRamDiskActionInfo_creatingCalculatingBaseDirSize";
    case QVRamDiskActionInfo_creatingNewFileSystem:
      return "QVRamDiskActionInfo_creatingNewFileSystem";
    case QVRamDiskActionInfo_creatingMoutingVolume:
      return "QVRamDiskActionInfo_creatingMoutingVolume";
    case QVRamDiskActionInfo_creatingRecopingFromBase:
      return "QVRamDiskActionInfo_creatingRecopingFromBase";
    case QVRamDiskActionInfo_creatingRestoring:
      return "QVRamDiskActionInfo_creatingRestoring";
    case QVRamDiskActionInfo_creatingExecutingPostCommand:
      return "QVRamDiskActionInfo_creatingExecutingPostCommand";
    case QVRamDiskActionInfo_creatingMdIndexMode:
      return "QVRamDiskActionInfo_creatingMdIndexMode";
    default:
      return "QVRamDiskActionInfo_creating";
  }
}

std::optional<std::string_view> keyOfAction(QVRamDiskAction action, QVRamDiskActionInfo info) {
  switch (action) {
    case QVRamDiskActionCreate:
      return keyOfCreation(info);
    case QVRamDiskActionSyncWithBase:
      return "QVRamDiskActionInfo_copyingToBase";
    case QVRamDiskActionBackup:
      return "QVRamDiskActionInfo_backuping";
    case QVRamDiskActionRemount:
      return "QVRamDiskActionInfo_remounting";
    case QVRamDiskActionEject:
      return "QVRamDiskActionInfo_ejecting";
    case QVRamDiskActionCleanUpFiles:
      return "QVRamDiskActionInfo_cleanUpFiles";
    case QVRamDiskActionRebuild:
      return "QVRamDiskActionInfo_rebuild";
    default:
      return std::nullopt;
  }
}

}  // namespace

void kinds::forgetDirectoryRules() { keptRules().forget(); }

std::uint64_t QVRamDiskManager::memoryReserve() {
  return QVMacInfo::physicalMemory() <= kSmallMachine ? kSmallReserve : kReserve;
}

bool QVRamDiskManager::canCreateWithName(const OptionalText& name, std::uint64_t size,
                                         QVRamDiskType type, const OptionalText& mountDirectory,
                                         Message& message) {
  message.reset();
  if (hasRunningAppForType(type, &message)) return false;
  if (!name || extensions::trimmedWhitespace(*name).empty())
    return refused("Please, specify a name of RamDisk", message);
  if (!QVFunctions::isLegalFilename(name))
    return refused("The name contains invalid character.", message);
  if (size < kSmallest || size > kLargest)
    return refused("Please, specify a correct size of RamDisk", message);
  if (mountDirectory && !canUseMountDirectory(mountDirectory, name, type, message)) return false;
  if (!fitsInMemory(size)) return refused("Insuffisant computer memory", message);
  return true;
}

bool QVRamDiskManager::canUseMountDirectory(const OptionalText& directory, const OptionalText& name,
                                            QVRamDiskType type, Message& message) {
  if (type != QVRamDiskType_Default) return true;
  if (!directory || !name) return refused("The mount directory is not specified.", message);
  if (const auto fault = faultOfDirectory(*directory)) return refused(*fault, message);
  if (const auto fault = faultOfPlace(*directory, *name)) return refused(*fault, message);
  if (!platform::services().files->isWritable(*directory))
    return refused("The mount directory is not writable.", message);
  return true;
}

std::optional<std::string> QVRamDiskManager::displayStringFromAction(QVRamDiskAction action,
                                                                     QVRamDiskActionInfo info) {
  const auto key = keyOfAction(action, info);
  return key ? std::optional(QVLocalized(*key, kTable)) : std::nullopt;
}
