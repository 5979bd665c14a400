#include "platform/linux/ApplicationNames.h"

#include <utility>

namespace platform {
namespace {

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

}  // namespace

ApplicationNames applicationNames(std::string_view bundleIdentifier) {
  const Packaging packaging = takePackaging(bundleIdentifier);
  for (const NamesOfOne& names : table()) {
    if (names.bundleIdentifier != bundleIdentifier) continue;
    if (names.isByPackaging) return {names.entries, packaging};
    return packaging == Packaging::System ? ApplicationNames{names.entries} : ApplicationNames{};
  }
  return {};
}

const std::vector<std::string>& namedApplications() {
  static const std::vector<std::string> all = identifiers();
  return all;
}

}  // namespace platform
