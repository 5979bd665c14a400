#include "platform/posix/FileDefaults.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "extensions/PathExtension.h"
#include "leaf/Descriptor.h"
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

// Between reading the file and replacing it nobody else of ours may do the same, or one of the two
// values would be lost. The lock is on the folder, because the file becomes another; where the file
// system has no locks it is done without.
bool FileDefaults::setInteger(std::string_view key, std::int64_t value) {
  const std::string folder = extensions::deletingLastPathComponent(path_);
  PosixFiles files;
  if (!files.createDirectories(folder)) return false;
  const Descriptor locked(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  while (flock(locked.get(), LOCK_EX) != 0 && errno == EINTR) {
  }
  extensions::PropertyList::Dictionary all;
  if (const auto bytes = readWholeFile(path_)) {
    const auto list = extensions::parsePropertyList(*bytes);
    if (!list || !list->dictionary()) return false;
    all = *list->dictionary();
  }
  all.insert_or_assign(std::string(key), value);
  return static_cast<bool>(files.replaceContents(path_, extensions::xmlPropertyList(all)));
}

}  // namespace platform
