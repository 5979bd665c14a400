#include "platform/posix/Environment.h"

#include <cstdlib>

namespace platform {

Environment processEnvironment() {
  return [](const std::string& name) -> std::optional<std::string> {
    const char* value = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
    if (value == nullptr || *value == '\0') return std::nullopt;
    return value;
  };
}

std::vector<std::string> preferredLanguages(const Environment& environment) {
  std::string locale;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (locale.empty()) locale = environment(name).value_or("");
  }
  locale = locale.substr(0, locale.find_first_of(".@"));
  if (locale.empty() || locale == "C" || locale == "POSIX") return {};
  const auto region = locale.find('_');
  if (region == std::string::npos) return {locale};
  return {locale, locale.substr(0, region)};
}

}  // namespace platform
