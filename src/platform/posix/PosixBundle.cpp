#include "platform/posix/PosixBundle.h"

#include <climits>
#include <cstdlib>
#if defined(__APPLE__)
#include <mach-o/dyld.h>
#endif

#include "extensions/PathExtension.h"
#include "extensions/StringsFile.h"
#include "platform/posix/FileContents.h"

namespace platform {
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
