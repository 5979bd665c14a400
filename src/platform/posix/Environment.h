#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// Looks up an environment variable; one that is set to nothing counts as not set.
using Environment = std::function<std::optional<std::string>(const std::string& name)>;

// This process's. Not safe while another thread changes it; nothing of ours does.
Environment processEnvironment();

// The user's languages as the folders of translations name them, the best first: "de_CH", "de" for
// LANG=de_CH.UTF-8. The list LANGUAGE ("de_AT:fr") goes before the locale and ends at a "C" in it.
// None for the locales "C" and "POSIX", whatever LANGUAGE says: who sets them wants no translation.
std::vector<std::string> preferredLanguages(const Environment& environment);

}  // namespace platform
