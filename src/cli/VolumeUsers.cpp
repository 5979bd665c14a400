#include "cli/VolumeUsers.h"

#include <fmt/format.h>

#include "cli/DiskNames.h"
#include "platform/Services.h"

namespace cli {
namespace {

constexpr std::size_t kMostNamed = 8;

std::string namesOf(const std::vector<platform::VolumeUser>& users) {
  std::string names;
  for (std::size_t i = 0; i < users.size() && i < kMostNamed; ++i)
    names +=
        fmt::format("{}{} ({})", i == 0 ? "" : ", ", users[i].name, users[i].processIdentifier);
  if (users.size() > kMostNamed) names += fmt::format(" and {} more", users.size() - kMostNamed);
  return names;
}

}  // namespace

std::optional<Refusal> refuseWhileInUse(const QVRamDisk& disk) {
  const auto path = disk.path();
  if (disk.status() != QVRamDiskStatus_mounted || !path) return std::nullopt;
  const auto users = platform::services().volumes->use(*path).users;
  if (users.empty()) return std::nullopt;
  return Refusal{kRefused, nameOf(disk) + " is in use by " + namesOf(users),
                 "close what uses it and leave its folders, or go on with --force"};
}

}  // namespace cli
