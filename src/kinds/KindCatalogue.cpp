#include "kinds/KindCatalogue.h"

#include <algorithm>

#include "platform/Services.h"
#include "system/Kept.h"

namespace kinds {
namespace {

using Table = std::shared_ptr<const platform::KindTable>;

// The paths in the table begin with the home directory, which never changes in a process.
Kept<Table>& keptTable() {
  static Kept<Table> kept;
  return kept;
}

Table table() {
  const auto& places = platform::services().places;
  return keptTable().get(
      places, [&] { return std::make_shared<const platform::KindTable>(places->kindTable()); });
}

bool isInstalled(const platform::KindFacts& facts) {
  const auto path = applicationPath(facts.application);
  return path && platform::services().files->exists(*path);
}

}  // namespace

std::shared_ptr<const platform::KindFacts> factsOfType(std::int64_t type) {
  const Table all = table();
  const auto isOfType = [&](const platform::KindFacts& facts) { return facts.type == type; };
  const auto first = std::find_if(all->begin(), all->end(), isOfType);
  if (first == all->end()) return nullptr;
  const auto second = std::find_if(first + 1, all->end(), isOfType);
  if (second == all->end()) return {all, &*first};  // no application need be looked for
  const auto installed = std::find_if(first, all->end(), [&](const platform::KindFacts& facts) {
    return isOfType(facts) && isInstalled(facts);
  });
  return {all, installed == all->end() ? &*first : &*installed};
}

std::optional<std::string> applicationPath(const platform::ApplicationFacts& application) {
  if (!application.usualPlace.empty() && platform::services().files->exists(application.usualPlace))
    return application.usualPlace;
  if (application.bundleIdentifier.empty()) return std::nullopt;
  return platform::services().applications->pathOfApplication(application.bundleIdentifier);
}

void forgetTable() { keptTable().forget(); }

}  // namespace kinds
