#pragma once

#include <cstdint>
#include <optional>

#include "platform/MainLoop.h"

// Posted by the application when the style was changed there; the user information carries the new
// value under kStatusItemIconStyleKey.
inline constexpr char QVRamDiskPreferencesStatusItemIconStyleDidChangeNotification[] =
    "QVRamDiskPreferencesStatusItemIconStyleDidChangeNotification";
inline constexpr char kStatusItemIconStyleKey[] = "StatusItemIconStyle";

// How the menu-bar item looks, in the running application's user defaults. Main thread only.
class QVRamDiskPreferences {
 public:
  // Made, and read from the defaults, on first use.
  static QVRamDiskPreferences& sharedInstance();

  // The style in the application's own preference file, 0 where it says none.
  static std::int64_t styleOfMainApplication();

  std::int64_t statusItemIconStyle() const { return statusItemIconStyle_; }
  void setStatusItemIconStyle(std::int64_t style) { statusItemIconStyle_ = style; }

  void restoreFromUserDefaults();
  void saveToUserDefaults();
  // Saves a second later, counted anew at each call.
  void synchroniseDelayed();

 private:
  std::int64_t statusItemIconStyle_ = 0;
  std::optional<platform::MainLoop::TimerId> pendingSave_;
};
