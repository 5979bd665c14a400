#include "platform/posix/FileDefaults.h"

#include "extensions/PropertyList.h"
#include "platform/posix/FileContents.h"

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

std::optional<std::string> FileDefaults::string(std::string_view key) const {
  const auto value = valueIn(path_, key);
  if (!value || value->string() == nullptr) return std::nullopt;
  return *value->string();
}

std::optional<std::int64_t> FileDefaults::integer(std::string_view key) const {
  const auto value = valueIn(path_, key);
  return value ? value->integer() : std::nullopt;
}

}  // namespace platform
