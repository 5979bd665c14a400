#include "system/copier/LackingEntries.h"

namespace copier {

LackingEntries::LackingEntries(const std::vector<std::string>& paths) : nodes_(kRoot + 1) {
  for (const auto& path : paths) add(path);
}

void LackingEntries::add(std::string_view path) {
  Place at = kRoot;
  while (!path.empty()) {
    const auto name = path.substr(0, path.find('/'));
    path.remove_prefix(name.size());
    if (!path.empty()) path.remove_prefix(1);
    if (!name.empty()) at = findOrAdd(at, name);
  }
  if (at != kRoot) nodes_[at].listed = true;
}

LackingEntries::Place LackingEntries::findOrAdd(Place above, std::string_view name) {
  if (const Place known = find(above, name); known != kNone) return known;
  const auto added = static_cast<Place>(nodes_.size());
  nodes_.emplace_back();
  nodes_[above].below.emplace(name, added);
  return added;
}

LackingEntries::Place LackingEntries::find(Place above, std::string_view name) const {
  const auto& below = nodes_[above].below;
  const auto found = below.find(name);
  return found == below.end() ? kNone : found->second;
}

std::vector<std::string> LackingEntries::listedIn(Place place) const {
  std::vector<std::string> names;
  for (const auto& [name, node] : nodes_[place].below)
    if (nodes_[node].listed) names.emplace_back(name);
  return names;
}

}  // namespace copier
