#include "platform/linux/ApplicationNames.h"

namespace platform {

// Names with an underscore are those of snaps, names of several parts those of flatpaks.
std::vector<std::string> desktopNames(std::string_view bundleIdentifier) {
  if (bundleIdentifier == "org.mozilla.firefox")
    return {"firefox", "firefox-esr", "org.mozilla.firefox", "firefox_firefox"};
  if (bundleIdentifier == "com.google.Chrome") return {"google-chrome", "com.google.Chrome"};
  if (bundleIdentifier == "org.chromium.Chromium")
    return {"chromium", "chromium-browser", "org.chromium.Chromium", "chromium_chromium"};
  if (bundleIdentifier == "com.operasoftware.Opera")
    return {"opera", "com.opera.Opera", "opera_opera"};
  return {};
}

}  // namespace platform
