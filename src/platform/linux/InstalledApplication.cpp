#include "platform/linux/InstalledApplication.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "platform/linux/ApplicationNames.h"
#include "platform/linux/DesktopEntry.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/PosixFiles.h"

namespace platform {
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

std::optional<InstalledApplication> applicationOfEntry(const std::string& entries,
                                                       const std::string& name, Packaging wanted,
                                                       const ApplicationFolders& folders) {
  const auto text = readWholeFile(entries + "/" + name + ".desktop");
  const auto entry = text ? parseDesktopEntry(*text) : std::nullopt;
  if (!entry || (!entry->tried.empty() && !findProgram(entry->tried, folders.executables)))
    return std::nullopt;
  const bool isFlatpak = fs::path(entry->executable).filename() == "flatpak";
  const auto program = findProgram(isFlatpak ? flatpakProgram(entries, name) : entry->executable,
                                   folders.executables);
  if (!program) return std::nullopt;
  const Packaging packaging = isFlatpak          ? Packaging::Flatpak
                              : isSnap(*program) ? Packaging::Snap
                                                 : Packaging::System;
  if (wanted != Packaging::Anyone && wanted != packaging) return std::nullopt;
  return InstalledApplication{entry->name, *program, entry->icon};
}

// Folders that programs share. Anything else beside an executable most likely belongs to it.
bool isShared(const fs::path& folder) {
  const auto name = folder.filename();
  return name == "bin" || name == "sbin" || name == "games" || folder == folder.root_path();
}

bool isBelow(const std::string& path, const std::string& folder) {
  return path.starts_with(folder) && path.size() > folder.size() && path[folder.size()] == '/';
}

// "google-chrome" starts "chrome", "firefox" starts "firefox-bin". Who ends the processes of a
// program must not meet another that happens to lie beside it.
bool haveLikeNames(const fs::path& one, const fs::path& other) {
  constexpr std::size_t kLeast = 4;
  std::string shorter = one.filename();
  std::string longer = other.filename();
  if (shorter.size() > longer.size()) shorter.swap(longer);
  return shorter.size() >= kLeast && longer.find(shorter) != std::string::npos;
}

void addIfFolder(std::vector<std::string>& folders, const fs::path& folder) {
  if (PosixFiles().kind(folder) == FileKind::Directory) folders.push_back(folder);
}

}  // namespace

std::optional<std::string> findProgram(const std::string& name,
                                       const std::vector<std::string>& folders) {
  if (name.starts_with('/')) return isProgram(name) ? std::optional(name) : std::nullopt;
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

bool ProgramFiles::hold(const std::string& path) const {
  if (path == executable) return true;
  return std::any_of(folders.begin(), folders.end(), [&](const std::string& folder) {
    if (foldersAreItsOwn) return isBelow(path, folder);
    return fs::path(path).parent_path() == folder && haveLikeNames(path, executable);
  });
}

// "/usr/bin/x" may be a script for "/usr/lib/x/x", and "/snap/bin/x" a link to the launcher of all
// snaps, whose files lie in "/snap/x".
ProgramFiles filesOfProgram(const std::string& executable) {
  std::error_code error;
  const fs::path link(executable);
  fs::path real = fs::canonical(link, error);
  if (error) real = link;
  const fs::path above = link.parent_path().parent_path();
  ProgramFiles files;
  if (real.filename() == "snap") {
    addIfFolder(files.folders, above / link.filename());
    files.foldersAreItsOwn = true;
    return files;
  }
  files.executable = real;
  if (!isShared(real.parent_path())) files.folders.push_back(real.parent_path());
  if (!isShared(link.parent_path())) return files;
  for (const char* library : {"lib", "lib64"}) {
    addIfFolder(files.folders, above / library / link.filename());
    if (real.filename() != link.filename())
      addIfFolder(files.folders, above / library / real.filename());
  }
  return files;
}

}  // namespace platform
