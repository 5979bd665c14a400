// The engine names applications by the bundle identifiers of macOS. Here an application is what its
// desktop entry says, and nothing links the two but a table: for each identifier the names under
// which distributions, makers and package systems ship the entry. The first entry that leads to a
// program is the application.
//
// A browser that a package system confines keeps its caches in a place of that package system's, so
// that "Firefox" is three applications with three cache directories: "org.mozilla.firefox" and the
// same with kFlatpakEnd or kSnapEnd. The name of an entry does not tell them apart, as a
// distribution may give its own package any of them; what its program is does:
//
//   flatpak   the entry runs the one tool for all; the application's own program lies beside the
//             entries, in ".../exports/bin"
//   snap      the program is a link to the one launcher of all
//   system    anything else
#include "platform/linux/InstalledApplications.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "core/Identifiers.h"
#include "platform/linux/DesktopEntry.h"
#include "platform/linux/LinuxPlaces.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/PosixBundle.h"
#include "platform/posix/PosixFiles.h"

namespace platform {

// --- Names

namespace {

// Who installed an application. It decides where the application keeps its files.
enum class Packaging { Anyone, System, Flatpak, Snap };

// How to find an application. Without entries it is not made for Linux.
struct ApplicationNames {
  // Of desktop entries, without ".desktop", the best first.
  std::vector<std::string> entries{};
  Packaging packaging = Packaging::Anyone;
};

struct NamesOfOne {
  std::string_view bundleIdentifier;
  bool isByPackaging;
  std::vector<std::string> entries;
};

// NamesOfOne with an underscore are those of snaps, names of several parts those of flatpaks and of
// some distributions. The system utilities are the ones that desktops bring along, the most used
// first.
const std::vector<NamesOfOne>& table() {
  static const std::vector<NamesOfOne> names = {
      {"org.mozilla.firefox",
       true,
       {"firefox", "firefox-esr", "org.mozilla.firefox", "firefox_firefox"}},
      {"com.google.Chrome", true, {"google-chrome", "com.google.Chrome"}},
      {"org.chromium.Chromium",
       true,
       {"chromium", "chromium-browser", "org.chromium.Chromium", "chromium_chromium"}},
      {"com.operasoftware.Opera", true, {"opera", "com.opera.Opera", "opera_opera"}},
      {"com.apple.ActivityMonitor",
       false,
       {"org.gnome.SystemMonitor", "gnome-system-monitor", "org.kde.plasma-systemmonitor",
        "org.kde.ksysguard", "xfce4-taskmanager", "mate-system-monitor", "lxtask", "qps",
        "net.nokyan.Resources", "io.missioncenter.MissionCenter",
        "gnome-system-monitor_gnome-system-monitor"}},
      {"com.apple.DiskUtility",
       false,
       {"org.gnome.DiskUtility", "gnome-disks", "org.kde.partitionmanager", "gparted",
        "blivet-gui"}}};
  return names;
}

std::vector<std::string> identifiers() {
  std::vector<std::string> all;
  for (const NamesOfOne& names : table()) {
    all.emplace_back(names.bundleIdentifier);
    if (!names.isByPackaging) continue;
    for (const auto end : {kFlatpakEnd, kSnapEnd})
      all.push_back(std::string(names.bundleIdentifier).append(end));
  }
  return all;
}

// Takes the end off the identifier.
Packaging takePackaging(std::string_view& bundleIdentifier) {
  for (const auto& [end, packaging] :
       {std::pair(kFlatpakEnd, Packaging::Flatpak), std::pair(kSnapEnd, Packaging::Snap)}) {
    if (!bundleIdentifier.ends_with(end)) continue;
    bundleIdentifier.remove_suffix(end.size());
    return packaging;
  }
  return Packaging::System;
}

ApplicationNames applicationNames(std::string_view bundleIdentifier) {
  const Packaging packaging = takePackaging(bundleIdentifier);
  for (const NamesOfOne& names : table()) {
    if (names.bundleIdentifier != bundleIdentifier) continue;
    if (names.isByPackaging) return {names.entries, packaging};
    return packaging == Packaging::System ? ApplicationNames{names.entries} : ApplicationNames{};
  }
  return {};
}

}  // namespace

const std::vector<std::string>& namedApplications() {
  static const std::vector<std::string> all = identifiers();
  return all;
}

// --- Programs

namespace {

namespace fs = std::filesystem;

bool isProgram(const std::string& path) {
  const PosixFiles files;
  return files.kind(path) == FileKind::Other && files.isExecutable(path);
}

// Every flatpak's entry runs the one tool; beside the entries lies a program for each. `entries` is
// ".../exports/share/applications".
std::string flatpakProgram(const std::string& entries, const std::string& name) {
  return fs::path(entries).parent_path().parent_path() / "bin" / name;
}

// Every snap's program is a link to the one launcher.
bool isSnap(const std::string& program) {
  std::error_code error;
  return fs::canonical(program, error).filename() == "snap";
}

Packaging packagingOf(const std::string& program, bool isFlatpak) {
  if (isFlatpak) return Packaging::Flatpak;
  return isSnap(program) ? Packaging::Snap : Packaging::System;
}

std::optional<InstalledApplication> applicationOfEntry(const std::string& entries,
                                                       const std::string& name, Packaging wanted,
                                                       const ApplicationFolders& folders) {
  const auto text = readWholeFile(entries + "/" + name + ".desktop");
  if (!text) return std::nullopt;
  const DesktopEntry entry(*text);
  const auto named = entry.program();
  const std::string tried = entry.string("TryExec");
  if (!named || entry.isHidden() || !entry.isApplication() ||
      (!tried.empty() && !findProgram(tried, folders.executables)))
    return std::nullopt;
  const bool isFlatpak = fs::path(*named).filename() == "flatpak";
  const auto program =
      findProgram(isFlatpak ? flatpakProgram(entries, name) : *named, folders.executables);
  if (!program) return std::nullopt;
  if (wanted != Packaging::Anyone && wanted != packagingOf(*program, isFlatpak))
    return std::nullopt;
  return InstalledApplication{entry.string("Name"), *program, entry.string("Icon")};
}

}  // namespace

std::optional<std::string> findProgram(const std::string& name,
                                       const std::vector<std::string>& folders) {
  if (name.find('/') != name.npos)
    return name.starts_with('/') && isProgram(name) ? std::optional(name) : std::nullopt;
  for (const std::string& folder : folders) {
    std::string path = fs::path(folder) / name;
    if (isProgram(path)) return path;
  }
  return std::nullopt;
}

std::optional<InstalledApplication> installedApplication(std::string_view bundleIdentifier,
                                                         const ApplicationFolders& folders) {
  const auto names = applicationNames(bundleIdentifier);
  for (const std::string& name : names.entries) {
    for (const std::string& entries : folders.entries) {
      if (auto found = applicationOfEntry(entries, name, names.packaging, folders)) return found;
    }
  }
  return std::nullopt;
}

// --- This product's own

namespace {

constexpr std::string_view kTools = "/libexec/tarnvale/";

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

// With a slash at its end.
std::string programsFolder() {
  std::string own = folderOf(runningExecutable());
  if (!own.ends_with(kTools)) return own;
  return own.substr(0, own.size() - kTools.size()) + "/bin/";
}

}  // namespace

std::string installedPath(std::string_view relative) {
  return besideExecutable(programsFolder() + "program", std::string(relative));
}

std::optional<InstalledApplication> ownProgram(std::string_view bundleIdentifier) {
  std::string file;
  if (bundleIdentifier == kHelperBundleId) file = "tarnvale-helper";
  if (bundleIdentifier == kMainAppBundleId) file = "tarnvale-settings";
  if (file.empty()) return std::nullopt;
  return InstalledApplication{file, programsFolder() + file};
}

std::vector<std::string> ownExecutables(std::string_view bundleIdentifier) {
  const auto program = ownProgram(bundleIdentifier);
  if (!program) return {};
  std::vector<std::string> files = {program->executable};
  if (bundleIdentifier == kHelperBundleId)
    files.push_back(installedPath("libexec/tarnvale/tarnvale-tray"));
  return files;
}

// --- Icons

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
