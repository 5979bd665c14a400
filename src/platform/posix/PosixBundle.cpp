#include "platform/posix/PosixBundle.h"

#if defined(__APPLE__)
#include <mach-o/dyld.h>
#endif

#include <climits>
#include <cstdlib>
#include <sstream>

#include "extensions/PathExtension.h"
#include "extensions/StringsFile.h"
#include "platform/posix/FileContents.h"

namespace platform {

// --- The user's languages

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

// --- Texts

namespace {

constexpr char kDefaultTable[] = "Localizable";
constexpr char kLastLanguage[] = "en";

std::string resolved(const std::string& path) {
  std::string whole(PATH_MAX, '\0');
  if (realpath(path.c_str(), whole.data()) == nullptr) return {};
  return whole.c_str();
}

}  // namespace

std::optional<std::string> PosixBundle::information(std::string_view key) const {
  const auto found = facts_.information.find(std::string(key));
  if (found == facts_.information.end()) return std::nullopt;
  return found->second;
}

std::string PosixBundle::localizedString(std::string_view key, std::string_view table) const {
  const std::string name(table.empty() ? kDefaultTable : table);
  const std::lock_guard lock(mutex_);
  auto found = tables_.find(name);
  if (found == tables_.end()) found = tables_.emplace(name, readTable(name)).first;
  const auto text = found->second.find(std::string(key));
  return text == found->second.end() ? std::string(key) : text->second;
}

PosixBundle::Strings PosixBundle::readTable(const std::string& name) const {
  Strings strings;
  auto languages = facts_.languages;
  languages.emplace_back(kLastLanguage);
  for (const auto& language : languages) {
    std::string path = facts_.resources;
    path.append("/").append(language).append(".lproj/").append(name).append(".strings");
    const auto bytes = readWholeFile(path);
    if (!bytes) continue;
    if (auto parsed = extensions::parseStringsFile(*bytes)) strings.merge(*parsed);
  }
  return strings;
}

std::string runningExecutable() {
#if defined(__APPLE__)
  std::uint32_t size = PATH_MAX;
  std::string path(size, '\0');
  if (_NSGetExecutablePath(path.data(), &size) != 0) return {};
  return resolved(path.c_str());
#else
  return resolved("/proc/self/exe");
#endif
}

std::string besideExecutable(const std::string& executable, const std::string& relative) {
  using extensions::deletingLastPathComponent;
  return extensions::appendingPathComponent(
      deletingLastPathComponent(deletingLastPathComponent(executable)), relative);
}

}  // namespace platform
