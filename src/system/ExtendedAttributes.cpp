#include "system/ExtendedAttributes.h"

#include <cerrno>

#include "core/QVLog.h"
#include "extensions/Text.h"
#include "platform/Services.h"
#include "system/Errno.h"

namespace {

using Names = std::vector<std::string>;

platform::Result<Names> attributeNames(const char* path) {
  if (!path) return platform::SystemError{"POSIX", EFAULT, errnoText(EFAULT)};
  return platform::services().volumes->attributeNames(path);
}

}  // namespace

bool QVSetExtendedAttribute(const std::optional<std::string>& value,
                            const std::optional<std::string>& name,
                            const std::optional<std::string>& path) {
  if (!name || !path) return false;
  auto& volumes = *platform::services().volumes;
  const auto changed =
      value ? volumes.setAttribute(*path, *name, *value) : volumes.removeAttribute(*path, *name);
  return static_cast<bool>(changed);
}

bool QVGetExtentedAttribute(std::string* value, const std::optional<std::string>& name,
                            const std::optional<std::string>& path) {
  if (!name || !path) return false;
  auto found = platform::services().volumes->attribute(*path, *name);
  if (!found) return false;
  if (value) *value = *std::move(found);
  return true;
}

bool QVGetXAttrNames(Names* names, const char* path) {
  auto found = attributeNames(path);
  if (!found) {
    const auto code = static_cast<int>(found.error().code);
    QVLogFunctionError("QVGetXAttrNames", "listxattr==-1 errno:{} ({})", code, errnoText(code));
    return false;
  }
  std::erase_if(*found, [](const std::string& name) { return !extensions::isValidUtf8(name); });
  if (names) *names = *std::move(found);
  return true;
}
