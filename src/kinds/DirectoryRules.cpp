#include "kinds/DirectoryRules.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "platform/Services.h"
#include "system/Kept.h"

namespace kinds {
namespace {

struct Rules {
  std::vector<std::string> system;
  std::vector<std::string> library;
  std::vector<std::string> allowedInLibrary;
};
using RulesPtr = std::shared_ptr<const Rules>;

Kept<RulesPtr>& keptRules() {
  static Kept<RulesPtr> kept;
  return kept;
}

RulesPtr rules() {
  const auto& places = platform::services().places;
  return keptRules().get(places, [&] {
    Rules made{places->protectedDirectories(), {}, places->allowedLibraryPrefixes()};
    if (places->home()) made.library = places->libraryPrefixes();
    return std::make_shared<const Rules>(std::move(made));
  });
}

bool beginsWithAny(std::string_view path, const std::vector<std::string>& prefixes) {
  return std::any_of(prefixes.begin(), prefixes.end(),
                     [&](const std::string& prefix) { return path.starts_with(prefix); });
}

}  // namespace

bool isSystemDirectory(std::string_view path) {
  const RulesPtr kept = rules();
  return std::any_of(kept->system.begin(), kept->system.end(), [&](const std::string& one) {
    return path == one || path.starts_with(one + "/");
  });
}

bool isKeptLibraryDirectory(std::string_view path) {
  const RulesPtr kept = rules();
  return beginsWithAny(path, kept->library) && !beginsWithAny(path, kept->allowedInLibrary);
}

void forgetDirectoryRules() { keptRules().forget(); }

}  // namespace kinds
