#include "settings/Switches.h"

#include <string>

#include "platform/Services.h"
#include "ramdisk/QVRamDiskPreferences.h"
#include "system/QVRamDiskUtils.h"

namespace settings {

std::optional<Problem> setMenuBar(Registry& registry, std::optional<bool> show,
                                  std::optional<bool> atLogin) {
  if (auto problem = registry.load()) return problem;
  auto& entries = registry.entries();
  if (show) entries.setShowInMenuBar(*show);
  if (atLogin) entries.setShowInMenuBarAtLogin(*atLogin);
  if (auto problem = registry.save()) return problem;
  entries.synchronizeHelper();
  return std::nullopt;
}

void setHelperRuns(bool run) { QVRamDiskUtils::setHelperIsRunning(run); }

std::optional<Problem> setSaveAtSessionEnd(Registry& registry, bool save) {
  if (auto problem = registry.load()) return problem;
  registry.entries().setSaveAtSessionEnd(save);
  return registry.save();
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
