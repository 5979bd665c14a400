#pragma once
// What holds for the program as a whole. Each call saves and tells the user's other programs.

#include <cstdint>
#include <optional>

#include "settings/Registry.h"

namespace settings {

// What is absent stays. The helper's login item follows.
std::optional<Problem> setMenuBar(Registry& registry, std::optional<bool> show,
                                  std::optional<bool> atLogin);
// Starts or ends the helper, as its application does when the menu bar's switch was turned.
void setHelperRuns(bool run);

// Whether the helper saves what is mounted when the session ends.
std::optional<Problem> setSaveAtSessionEnd(Registry& registry, bool save);

// The menu-bar item's look, in the application's own preferences: 0 in colour, 1 plain.
std::int64_t iconStyle();
void setIconStyle(std::int64_t style);

}  // namespace settings
