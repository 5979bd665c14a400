#include "platform/posix/Environment.h"

#include <cstdlib>
#include <sstream>

namespace platform {
namespace {

bool isUntranslated(const std::string& locale) {
  return locale.empty() || locale == "C" || locale == "POSIX";
}

// Without the encoding and what sets a variant apart: "de_CH" of "de_CH.UTF-8@euro".
std::string withoutEncoding(const std::string& locale) {
  return locale.substr(0, locale.find_first_of(".@"));
}

// The locale of messages.
std::string sessionLocale(const Environment& environment) {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (const auto value = environment(name)) return withoutEncoding(*value);
  }
  return {};
}

void addWithItsLanguage(std::vector<std::string>& languages, const std::string& locale) {
  languages.push_back(locale);
  const auto region = locale.find('_');
  if (region != std::string::npos) languages.push_back(locale.substr(0, region));
}

}  // namespace

Environment processEnvironment() {
  return [](const std::string& name) -> std::optional<std::string> {
    const char* value = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
    if (value == nullptr || *value == '\0') return std::nullopt;
    return value;
  };
}

std::vector<std::string> preferredLanguages(const Environment& environment) {
  const std::string locale = sessionLocale(environment);
  if (isUntranslated(locale)) return {};
  std::istringstream list(environment("LANGUAGE").value_or(locale));
  std::vector<std::string> languages;
  for (std::string each; std::getline(list, each, ':');) {
    each = withoutEncoding(each);
    if (each.empty()) continue;
    if (isUntranslated(each)) break;
    addWithItsLanguage(languages, each);
  }
  return languages;
}

}  // namespace platform
