#include "system/HiddenNames.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 4> kAlwaysExcluded = {".file", ".Trash", ".localized",
                                                             "File Transfer Folder\x03\x0d"};

// What the user's own desktop settings of a folder are kept in.
constexpr std::array<std::string_view, 2> kFolderSettings = {".DS_Store", "Icon\r"};

constexpr std::array<std::string_view, 9> kVolumeRoot = {".vol",
                                                         ".file",
                                                         ".Trashes",
                                                         ".fseventsd",
                                                         ".Spotlight-V100",
                                                         ".hotfiles.btree",
                                                         ".DocumentRevisions-V100",
                                                         ".HFS+ Private Directory Data\r",
                                                         ".PKInstallSandboxManager-SystemSoftware"};

constexpr std::array<std::string_view, 9> kStartupRoot = {
    "dev", "net", "home", "cores", "mach_kernel", "mach.sym", "mach", "Network", "Volumes"};

constexpr std::array<std::string_view, 7> kStartupRootUnix = {"etc",  "var", "tmp",    "bin",
                                                              "sbin", "usr", "private"};

template <std::size_t Count>
bool holds(const std::array<std::string_view, Count>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string_view view(const char* name, std::size_t length) {
  return name ? std::string_view(name, length) : std::string_view();
}

}  // namespace

bool QVIsFilenameHiddenExcluded(const char* name, std::size_t length, std::int64_t mode) {
  const auto text = view(name, length);
  return holds(kAlwaysExcluded, text) || ((mode & 1) == 0 && holds(kFolderSettings, text));
}

bool QVIsVolumeHiddenFilename(const char* name, std::size_t length) {
  return holds(kVolumeRoot, view(name, length));
}

bool QVIsVolumeSystemHiddenFilename(const char* name, std::size_t length, std::int64_t mode) {
  const auto text = view(name, length);
  return holds(kVolumeRoot, text) || holds(kStartupRoot, text) ||
         (mode == 0 && holds(kStartupRootUnix, text));
}
