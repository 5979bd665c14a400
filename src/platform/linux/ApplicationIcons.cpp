#include "platform/linux/ApplicationIcons.h"

#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "core/Identifiers.h"
#include "platform/linux/ApplicationNames.h"
#include "platform/linux/LinuxDirectories.h"
#include "platform/linux/OwnPrograms.h"

namespace platform {
namespace {

using Names = std::map<std::string, std::string>;  // of icons, by executable

Names namesIn(const ApplicationFolders& folders) {
  Names names;
  for (const std::string& identifier : namedApplications()) {
    const auto application = installedApplication(identifier, folders);
    if (application && !application->iconName.empty())
      names.emplace(application->executable, application->iconName);
  }
  if (const auto settings = ownProgram(kMainAppBundleId))
    names.emplace(settings->executable, kMainAppBundleId);
  return names;
}

struct Looked {
  std::once_flag once;
  Names names;
};

}  // namespace

ApplicationIcons applicationIcons(const ApplicationFolders& folders) {
  return [folders, looked = std::make_shared<Looked>()](
             const std::string& executable) -> std::optional<std::string> {
    std::call_once(looked->once, [&] { looked->names = namesIn(folders); });
    const auto found = looked->names.find(executable);
    if (found == looked->names.end()) return std::nullopt;
    return found->second;
  };
}

ApplicationIcons applicationIcons() {
  const auto directories = linuxDirectories(processEnvironment());
  return applicationIcons({directories.applications, directories.executables});
}

}  // namespace platform
