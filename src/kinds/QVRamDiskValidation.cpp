#include <algorithm>
#include <climits>
#include <memory>
#include <vector>

#include "core/QVError.h"
#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "extensions/Text.h"
#include "kinds/Presets.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "system/DiskPlaces.h"
#include "system/Kept.h"
#include "system/QVFunctions.h"
#include "system/QVMacInfo.h"
#include "system/QVRamDiskFunctions.h"
#include "system/RealPath.h"

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

struct Rules {
  std::vector<std::string> system;
  std::vector<std::string> own;  // the user's, where links lead them into one of the system's
  std::vector<std::string> library;
  std::vector<std::string> allowedInLibrary;
};
using RulesPtr = std::shared_ptr<const Rules>;

Kept<RulesPtr>& keptRules() {
  static Kept<RulesPtr> kept;
  return kept;
}

bool contains(const std::vector<std::string>& all, const std::string& one) {
  return std::find(all.begin(), all.end(), one) != all.end();
}

// As they are named, and where links lead.
std::vector<std::string> withReal(std::vector<std::string> paths) {
  const auto given = paths;
  for (const auto& path : given)
    if (auto real = realPath(path); !contains(paths, real)) paths.push_back(std::move(real));
  return paths;
}

std::vector<std::string> ownFolders(const platform::Places& places) {
  std::vector<std::string> folders = places.cachesDirectories();
  if (const auto home = places.home()) folders.push_back(*home);
  for (auto& folder : folders) folder = realPath(folder);
  return folders;
}

RulesPtr rules() {
  const auto& places = platform::services().places;
  return keptRules().get(places, [&] {
    Rules made{places->protectedDirectories(), {}, {}, withReal(places->allowedLibraryPrefixes())};
    for (auto& folder : ownFolders(*places))
      if (!contains(made.system, folder)) made.own.push_back(std::move(folder));
    if (places->home()) made.library = withReal(places->libraryPrefixes());
    return std::make_shared<const Rules>(std::move(made));
  });
}

bool beginsWithAny(std::string_view path, const std::vector<std::string>& prefixes) {
  return std::any_of(prefixes.begin(), prefixes.end(),
                     [&](const std::string& prefix) { return path.starts_with(prefix); });
}

bool isOneOrBelow(std::string_view path, const std::vector<std::string>& folders) {
  return std::any_of(folders.begin(), folders.end(), [&](const std::string& one) {
    return path == one || path.starts_with(one + "/");
  });
}

// Whether the path is one of the system's own directories or below one, and not the user's all the
// same: some systems have their homes in "/var".
bool isSystemDirectory(std::string_view path) {
  const RulesPtr kept = rules();
  return isOneOrBelow(path, kept->system) && !isOneOrBelow(path, kept->own);
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
Checked checkDirectory(const std::string& directory) {
  switch (platform::services().files->kind(directory)) {
    case platform::FileKind::Missing:
      return Hindrance{Trouble::DirectoryMissing};
    case platform::FileKind::Other:
      return Hindrance{Trouble::DirectoryIsNone};
    case platform::FileKind::Directory:
      break;
  }
  if (!isOnLocalVolume(directory)) return Hindrance{Trouble::DirectoryNotLocal};
  return {};
}

// Why nothing can be mounted there for where it lies.
Checked checkPlace(const std::string& directory, const std::string& name) {
  const std::string mountPath = extensions::appendingPathComponent(directory, name);
  const auto& places = platform::services().places;
  if (isSystemDirectory(mountPath)) return Hindrance{Trouble::DirectoryOfSystem};
  if (directory == realPath(places->usersDirectory())) return Hindrance{Trouble::DirectoryOfUsers};
  if (directory == realPath(places->volumesDirectory()))
    return Hindrance{Trouble::DirectoryOfVolumes};
  if (isKeptLibraryDirectory(mountPath)) return Hindrance{Trouble::DirectoryInLibrary};
  return {};
}

bool isPassed(const Checked& check, Message& message) {
  if (!check) message = whatHappened(check.error().trouble, check.error().facts);
  return static_cast<bool>(check);
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

Checked QVRamDiskManager::checkName(const OptionalText& name) {
  if (!name || extensions::trimmedWhitespace(*name).empty()) return Hindrance{Trouble::NameMissing};
  if (!QVFunctions::isLegalFilename(name)) return Hindrance{Trouble::NameIllegal};
  return {};
}

Checked QVRamDiskManager::checkSize(std::uint64_t size) {
  if (size < kSmallest || size > kLargest) return Hindrance{Trouble::SizeWrong};
  return {};
}

Checked QVRamDiskManager::checkMountDirectory(const OptionalText& directory,
                                              const OptionalText& name, QVRamDiskType type) {
  if (type != QVRamDiskType_Default) return {};
  if (!directory || !name) return Hindrance{Trouble::DirectoryUnspecified};
  if (auto is = checkDirectory(*directory); !is) return is;
  if (auto lies = checkPlace(*directory, *name); !lies) return lies;
  if (!platform::services().files->isWritable(*directory))
    return Hindrance{Trouble::DirectoryReadOnly};
  return {};
}

Checked QVRamDiskManager::checkNameFits(const OptionalText& directory, const OptionalText& name) {
  if (!directory || !name) return {};
  const auto attributes = platform::services().volumes->attributes(*directory);
  const auto longest = attributes.value().value_or(platform::FileSystemAttributes()).longestName;
  const auto room = std::min<std::size_t>(
      longest, PATH_MAX - std::min<std::size_t>(PATH_MAX, directory->size() + 2));
  const auto needed = disk_places::longestNameBeside(*name).size();
  if (needed <= room) return {};
  const auto added = needed - name->size();
  return Hindrance{Trouble::NameTooLong, {.text = std::to_string(room > added ? room - added : 0)}};
}

Checked QVRamDiskManager::checkMemory(std::uint64_t size) {
  const auto memory = QVMacInfo::physicalMemory();
  if (size + memoryReserve() <= memory) return {};
  const auto counted = static_cast<std::int64_t>(memory);
  return Hindrance{Trouble::MemoryShort,
                   {.text = QVText(QVRamDiskFunctions::stringFromBytesWithBin1000Style(counted))}};
}

Checked QVRamDiskManager::checkCreation(const OptionalText& name, std::uint64_t size,
                                        QVRamDiskType type, const OptionalText& mountDirectory) {
  if (auto idle = checkApplication(type); !idle) return idle;
  if (auto named = checkName(name); !named) return named;
  if (auto sized = checkSize(size); !sized) return sized;
  if (mountDirectory)
    if (auto placed = checkMountDirectory(mountDirectory, name, type); !placed) return placed;
  if (auto fits = checkNameFits(mountDirectory, name); !fits) return fits;
  return checkMemory(size);
}

bool QVRamDiskManager::canCreateWithName(const OptionalText& name, std::uint64_t size,
                                         QVRamDiskType type, const OptionalText& mountDirectory,
                                         Message& message) {
  message.reset();
  return isPassed(checkCreation(name, size, type, mountDirectory), message);
}

bool QVRamDiskManager::canUseMountDirectory(const OptionalText& directory, const OptionalText& name,
                                            QVRamDiskType type, Message& message) {
  return isPassed(checkMountDirectory(directory, name, type), message);
}

std::optional<std::string> QVRamDiskManager::displayStringFromAction(QVRamDiskAction action,
                                                                     QVRamDiskActionInfo info) {
  const auto key = keyOfAction(action, info);
  return key ? std::optional(QVLocalized(*key, kTable)) : std::nullopt;
}
