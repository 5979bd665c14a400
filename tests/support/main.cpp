#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/PrivateNamespace.h"

namespace {

// What is compared with texts, places and pictures must not depend on the language, the fonts and
// the desktop of who runs the tests.
void forgetTheDesktop() {
  setenv("LC_ALL", "C.UTF-8", 1);
  setenv("FONTCONFIG_FILE", TARNVALE_TEST_FONTS, 1);
  for (const char* name : {"LANGUAGE", "XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION",
                           "KDE_SESSION_VERSION", "GNOME_DESKTOP_SESSION_ID", "WAYLAND_DISPLAY",
                           "XDG_SESSION_TYPE", "QT_QPA_PLATFORM", "QT_QPA_PLATFORMTHEME",
                           "QT_STYLE_OVERRIDE", "QT_SCALE_FACTOR", "QT_FONT_DPI", "GTK_THEME"})
    unsetenv(name);
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  forgetTheDesktop();
  return runInPrivateNamespace([] { return RUN_ALL_TESTS(); });
}
