#include "settings/Switches.h"

#include <string>

#include "platform/Services.h"
#include "ramdisk/QVRamDiskPreferences.h"
#include "system/QVRamDiskUtils.h"

namespace settings {

std::optional<Problem> setMenuBar(Registry& registry, std::optional<bool> show,
                                  std::optional<bool> atLogin) {
  auto& entries = registry.entries();
  auto problem = registry.change([&]() -> std::optional<Problem> {
    if (show) entries.setShowInMenuBar(*show);
    if (atLogin) entries.setShowInMenuBarAtLogin(*atLogin);
    return std::nullopt;
  });
  if (!problem) entries.synchronizeHelper();
  return problem;
}

void setHelperRuns(bool run) { QVRamDiskUtils::setHelperIsRunning(run); }

std::optional<Problem> setSaveAtSessionEnd(Registry& registry, bool save) {
  return registry.change([&]() -> std::optional<Problem> {
    registry.entries().setSaveAtSessionEnd(save);
    return std::nullopt;
  });
}

std::int64_t iconStyle() { return QVRamDiskPreferences::styleOfMainApplication(); }

void setIconStyle(std::int64_t style) {
  auto& preferences = QVRamDiskPreferences::sharedInstance();
  preferences.setStatusItemIconStyle(style);
  preferences.saveToUserDefaults();
  platform::services().notifications->post(
      {QVRamDiskPreferencesStatusItemIconStyleDidChangeNotification,
       kSenderApp,
       {{kStatusItemIconStyleKey, std::to_string(style)}}});
}

}  // namespace settings
