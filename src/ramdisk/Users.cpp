#include "ramdisk/Users.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/QVLocalized.h"

namespace {

constexpr std::size_t kMostNamed = 8;

}  // namespace

std::string someOf(const std::vector<std::string>& texts, bool more) {
  std::string some;
  const std::size_t named = std::min(texts.size(), kMostNamed);
  for (std::size_t i = 0; i < named; ++i) some += (i == 0 ? "" : ", ") + texts[i];
  if (texts.size() > named)
    return QVLocalizedFormat("%@ and %@ more", {some, std::to_string(texts.size() - named)});
  return more ? some + ", …" : some;
}

std::string namesOfUsers(const std::vector<platform::VolumeUser>& users) {
  std::vector<std::string> names;
  names.reserve(users.size());
  for (const auto& user : users)
    names.push_back(user.processIdentifier == 0
                        ? QVLocalizedFormat("what is mounted at %@", {user.name})
                        : fmt::format("{} ({})", user.name, user.processIdentifier));
  return someOf(names);
}

QVErrorPtr inUseError(const std::string& subject, const std::vector<platform::VolumeUser>& users) {
  return QVError::errorWithMessage(
      QVLocalizedFormat("%@ is in use by %@", {subject, namesOfUsers(users)}), "use",
      QVErrorCode::InUse);
}
