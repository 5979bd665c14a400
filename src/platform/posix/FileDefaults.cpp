#include "platform/posix/FileDefaults.h"

#include "extensions/PathExtension.h"
#include "extensions/PropertyList.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/PosixFiles.h"

namespace platform {
namespace {

std::optional<extensions::PropertyList> valueIn(const std::string& path, std::string_view key) {
  const auto bytes = readWholeFile(path);
  if (!bytes) return std::nullopt;
  const auto list = extensions::parsePropertyList(*bytes);
  const auto* value = list ? list->find(key) : nullptr;
  if (value == nullptr) return std::nullopt;
  return *value;
}

}  // namespace

// Of whatever kind, the application's own value hides the shared one.
std::optional<extensions::PropertyList> FileDefaults::value(std::string_view key) const {
  auto own = valueIn(path_, key);
  return own || sharedPath_.empty() ? own : valueIn(sharedPath_, key);
}

std::optional<std::string> FileDefaults::string(std::string_view key) const {
  const auto found = value(key);
  if (!found || found->string() == nullptr) return std::nullopt;
  return *found->string();
}

std::optional<std::int64_t> FileDefaults::integer(std::string_view key) const {
  const auto found = value(key);
  return found ? found->integer() : std::nullopt;
}

bool FileDefaults::setInteger(std::string_view key, std::int64_t value) {
  extensions::PropertyList::Dictionary all;
  if (const auto bytes = readWholeFile(path_)) {
    const auto list = extensions::parsePropertyList(*bytes);
    if (!list || !list->dictionary()) return false;
    all = *list->dictionary();
  }
  all.insert_or_assign(std::string(key), value);
  PosixFiles files;
  if (!files.createDirectories(extensions::deletingLastPathComponent(path_))) return false;
  return static_cast<bool>(files.replaceContents(path_, extensions::xmlPropertyList(all)));
}

}  // namespace platform
