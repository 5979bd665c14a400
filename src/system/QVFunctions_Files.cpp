#include <algorithm>
#include <array>

#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "extensions/Text.h"
#include "platform/Services.h"
#include "system/Errno.h"
#include "system/Kept.h"
#include "system/QVFunctions.h"

namespace {

using OptionalText = std::optional<std::string>;

constexpr std::size_t kLongestName = 254;  // UTF-16 units
constexpr std::array<std::string_view, 7> kIllegalTexts = {":", "/", "\\", "|", "\"", "<", ">"};

bool isIllegal(char32_t character) {
  return extensions::isNewlineCharacter(character) || extensions::isIllegalCharacter(character) ||
         extensions::isControlCharacter(character) || extensions::isSymbolCharacter(character);
}

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at)) {
    text.replace(at, what.size(), with);
    at += with.size();
  }
  return text;
}

bool createDirectory(const std::string& path) {
  if (platform::services().files->createDirectories(path)) return true;
  QVLogError("QVFunctions", "createDirectoryAtPath==NO dirPath:{}", path);
  return false;
}

// Makes way for a directory.
bool removeOther(const std::string& path) {
  QVLogError("QVFunctions", "isDir==NO dirPath:{}", path);
  const auto removed = platform::services().files->remove(path);
  if (!removed) {
    QVLogError("QVFunctions", "removeItemAtPath==NO dirPath:{} error:{}", path,
               removed.error().text);
  }
  return static_cast<bool>(removed);
}

std::optional<platform::FileTimes> timesOf(const OptionalText& path) {
  if (!path) return std::nullopt;
  const auto times = platform::services().files->times(*path);
  if (times) return *times;
  const auto code = static_cast<int>(times.error().code);
  QVLogError("QVFunctions", "stat!=0 errno:{} ({})", code, errnoText(code));
  return std::nullopt;
}

}  // namespace

bool QVFunctions::isLegalFilename(const OptionalText& name) {
  if (!name || name->empty() || extensions::utf16Length(*name) > kLongestName) return false;
  const auto characters = extensions::codePoints(*name);
  if (!characters || std::any_of(characters->begin(), characters->end(), isIllegal)) return false;
  return std::none_of(kIllegalTexts.begin(), kIllegalTexts.end(),
                      [&](std::string_view text) { return name->find(text) != std::string::npos; });
}

OptionalText QVFunctions::securisedFileName(const OptionalText& name,
                                            const OptionalText& subsitution) {
  if (!name) return std::nullopt;
  const std::string with = subsitution && !subsitution->empty() ? *subsitution : "_";
  std::string secured = *name;
  for (const auto text : kIllegalTexts) secured = replaced(std::move(secured), text, with);
  return secured;
}

bool QVFunctions::checkDirectoryAtPath(const OptionalText& path, bool replaceIfNotDir) {
  if (!path) return false;
  switch (platform::services().files->kind(*path)) {
    case platform::FileKind::Directory:
      return true;
    case platform::FileKind::Other:
      return replaceIfNotDir && removeOther(*path) && createDirectory(*path);
    case platform::FileKind::Missing:
      break;
  }
  return createDirectory(*path);
}

bool QVFunctions::cleanDirectoryContentsAtPath(const std::string& path,
                                               std::vector<ItemFailure>& errors) {
  auto& files = *platform::services().files;
  const auto names = files.names(path);
  if (!names) {
    QVLogError("QVFunctions", "files==nil dirPath:{} error:{}", path, names.error().text);
    return false;
  }
  errors.clear();
  for (const auto& name : *names) {
    const std::string item = extensions::appendingPathComponent(path, name);
    const auto removed = files.remove(item);
    if (removed) continue;
    QVLogError("QVFunctions", "removeItemAtPath==NO path:{} error:{}", item, removed.error().text);
    errors.push_back({item, removed.error()});
  }
  return errors.empty();
}

bool QVFunctions::getCreationDate1970(double* date, const OptionalText& path) {
  const auto times = timesOf(path);
  if (times && date) *date = static_cast<double>(times->created);
  return times.has_value();
}

bool QVFunctions::getModDate1970(double* date, const OptionalText& path) {
  const auto times = timesOf(path);
  if (times && date) *date = static_cast<double>(times->modified);
  return times.has_value();
}

namespace {

using OptionalPath = std::optional<std::string>;

std::string below(const std::string& directory, std::string_view name) {
  return extensions::appendingPathComponent(directory, name);
}

std::string ownFolderIn(const std::string& directory) {
  return below(directory, platform::services().bundle->identifier());
}

OptionalPath makeSupportDirectory() {
  const auto all = platform::services().places->applicationSupportDirectories();
  OptionalPath path = all.size() == 1 ? OptionalPath(ownFolderIn(all.front())) : std::nullopt;
  if (!QVFunctions::checkDirectoryAtPath(path, true)) {
    QVLogCriticalException("QVFunctions", "checkDirectoryAtPath==NO supportDir:{}", QVText(path));
  }
  return path;
}

OptionalPath makeCachesDirectory() {
  const auto all = platform::services().places->cachesDirectories();
  if (all.empty()) {
    QVLogCriticalException("QVFunctions", "cachesDir==nil");
    return std::nullopt;
  }
  OptionalPath path = below(ownFolderIn(all.back()), "qvfunctions-caches");
  if (!QVFunctions::checkDirectoryAtPath(path, true)) {
    QVLogCriticalException("QVFunctions", "checkDirectoryAtPath==NO cachesDir:{}", QVText(path));
  }
  return path;
}

// Handed out although it could not be made: what uses it then fails on its own terms.
OptionalPath ensured(const OptionalPath& directory, const OptionalPath& subdirectory) {
  if (!subdirectory) return directory;
  OptionalPath path = directory ? OptionalPath(below(*directory, *subdirectory)) : std::nullopt;
  if (!QVFunctions::checkDirectoryAtPath(path, true)) {
    QVLogCriticalException("QVFunctions", "checkDirectoryAtPath==NO dirPath:{}", QVText(path));
  }
  return path;
}

}  // namespace

OptionalPath QVFunctions::appSupportPath(const OptionalPath& subdirectory) {
  static Kept<OptionalPath> kept;
  return ensured(kept.get(platform::services().places, makeSupportDirectory), subdirectory);
}

OptionalPath QVFunctions::cachesDirPath(const OptionalPath& subdirectory) {
  static Kept<OptionalPath> kept;
  return ensured(kept.get(platform::services().places, makeCachesDirectory), subdirectory);
}
