#include "platform/linux/LinuxServices.h"

#include <utility>

#include "platform/linux/Bus.h"
#include "platform/linux/InstalledApplications.h"
#include "platform/linux/LinuxApplications.h"
#include "platform/linux/LinuxDefaults.h"
#include "platform/linux/LinuxLog.h"
#include "platform/linux/LinuxLoginItems.h"
#include "platform/linux/LinuxMachine.h"
#include "platform/linux/LinuxNotifications.h"
#include "platform/linux/LinuxPlaces.h"
#include "platform/linux/LinuxVolumes.h"
#include "platform/linux/LinuxWorkspace.h"
#include "platform/linux/LogindSessionEnd.h"
#include "platform/posix/PosixBundle.h"
#include "platform/posix/PosixFileCopying.h"
#include "platform/posix/PosixFiles.h"
#include "platform/posix/PosixMainLoop.h"

namespace platform {
namespace {

std::shared_ptr<Bundle> linuxBundle(const LinuxOptions& options, const Environment& environment) {
  PosixBundleFacts facts;
  facts.identifier = options.identifier;
  facts.executablePath = runningExecutable();
  facts.information = options.information;
  facts.resources = options.resourcesDirectory.value_or(installedPath("share/tarnvale"));
  facts.languages = preferredLanguages(environment);
  return std::make_shared<PosixBundle>(std::move(facts));
}

std::string toolsDirectory(const LinuxOptions& options) {
  return options.libexecDirectory.value_or(installedPath("libexec/tarnvale"));
}

AutostartFolders autostartFolders(const LinuxDirectories& directories) {
  constexpr char kFolder[] = "/autostart";
  AutostartFolders folders;
  if (!directories.configuration.empty()) folders.own = directories.configuration + kFolder;
  for (const auto& folder : directories.systemConfigurations)
    folders.system.push_back(folder + kFolder);
  folders.executables = directories.executables;
  return folders;
}

}  // namespace

Services linuxServices(const LinuxOptions& options) {
  const Environment environment = processEnvironment();
  const LinuxDirectories directories = linuxDirectories(environment);
  Services services;
  services.systemLog =
      std::make_shared<LinuxLog>(options.identifier, options.standardErrorSeverity);
  services.mainLoop = options.mainLoop ? options.mainLoop : std::make_shared<PosixMainLoop>();
  services.alerts = std::make_shared<StandardErrorAlerts>();
  services.bundle = linuxBundle(options, environment);
  services.defaults = std::make_shared<LinuxDefaults>(
      FileDefaults(directories.configuration + "/" + options.identifier + ".plist",
                   directories.configuration + "/.GlobalPreferences.plist"),
      options.asksForAppearance ? sessionBusAddress(environment) : "");
  services.applications = std::make_shared<LinuxApplications>(
      ApplicationFolders{directories.applications, directories.executables});
  services.workspace = std::make_shared<LinuxWorkspace>(
      DesktopFacts{{directories.applications, directories.executables},
                   sessionBusAddress(environment),
                   directories.home.value_or("")});
  services.notifications = std::make_shared<LinuxNotifications>(
      services.mainLoop, services.systemLog, sessionBusAddress(environment));
  services.loginItems = std::make_shared<LinuxLoginItems>(autostartFolders(directories));
  services.sessionEnd = std::make_shared<LogindSessionEnd>(services.mainLoop, services.systemLog,
                                                           systemBusAddress(environment));
  services.files = std::make_shared<PosixFiles>();
  services.fileCopying = std::make_shared<PosixFileCopying>();
  services.volumes = std::make_shared<LinuxVolumes>();
  services.machine = std::make_shared<LinuxMachine>();
  services.places = std::make_shared<LinuxPlaces>(directories, toolsDirectory(options));
  services.graphics = std::make_shared<Graphics>();
  return services;
}

}  // namespace platform
