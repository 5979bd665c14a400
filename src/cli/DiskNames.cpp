#include "cli/DiskNames.h"

#include <algorithm>
#include <functional>

namespace cli {
namespace {

constexpr std::size_t kShownOfIdentifier = 8;  // characters

using Disks = std::vector<QVRamDiskPtr>;

std::string lowerCase(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

std::string identifierOf(const QVRamDisk& disk) {
  return lowerCase(disk.identifier().value_or(""));
}

Disks matching(const Disks& all, const std::function<bool(const QVRamDisk&)>& test) {
  Disks found;
  std::copy_if(all.begin(), all.end(), std::back_inserter(found),
               [&](const auto& disk) { return test(*disk); });
  return found;
}

// The matches of the best rank that has any.
Disks candidates(const Disks& all, const std::string& text) {
  if (text.empty()) return {};
  const std::string lower = lowerCase(text);
  auto found = matching(all, [&](const auto& disk) { return nameOf(disk) == text; });
  if (found.empty())
    found = matching(all, [&](const auto& disk) { return identifierOf(disk) == lower; });
  if (found.empty())
    found = matching(all, [&](const auto& disk) {
      return nameOf(disk).starts_with(text) || identifierOf(disk).starts_with(lower);
    });
  return found;
}

Refusal ambiguous(const std::string& text, const Disks& found) {
  std::string names;
  for (const auto& disk : found)
    names += (names.empty() ? "" : ", ") + nameOf(*disk) + " (" +
             identifierOf(*disk).substr(0, kShownOfIdentifier) + ")";
  return {kNoSuchDisk, "\"" + text + "\" could be any of " + names,
          "write more of it or an identifier"};
}

Refusal unknown(const std::string& text) {
  return {kNoSuchDisk, "there is no disk \"" + text + "\"", "'tarnvale list' shows what there is"};
}

}  // namespace

std::string nameOf(const QVRamDisk& disk) { return disk.name().value_or(""); }

std::string shownMountPoint(const QVRamDisk& disk) {
  const std::string path = disk.path().value_or("");
  const auto known = disk.settings();
  return path == known.mountPath() ? known.shownPath() : path;
}

Selection selectDisks(const Disks& all, const std::vector<std::string>& names) {
  Disks known;
  for (const auto& name : names) {
    const auto found = candidates(all, name);
    if (found.empty()) return unknown(name);
    if (found.size() > 1) return ambiguous(name, found);
    if (std::find(known.begin(), known.end(), found.front()) == known.end())
      known.push_back(found.front());
  }
  return known;
}

}  // namespace cli
