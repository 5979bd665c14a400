#include "system/copier/NamedEntries.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string_view>
#include <unordered_set>

#include "system/copier/FolderListing.h"

namespace copier {
namespace {

constexpr std::size_t kFew = 16;  // are looked at one by one

bool isName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
         name.find('\0') == std::string::npos;
}

}  // namespace

// Of many, the folder's listing tells the kinds in less time.
NamedEntries::NamedEntries(int folder, const std::vector<std::string>& names) {
  std::unordered_set<std::string_view> left(names.begin(), names.end());
  if (names.size() > kFew) {
    FolderListing listing(folder);
    while (const auto entry = listing.next())
      if (left.erase(entry->name) != 0) found.add(entry->kind, entry->name);
  }
  for (const auto& name : names)
    if (left.erase(name) != 0) look(folder, name);
}

void NamedEntries::look(int folder, const std::string& name) {
  struct stat facts {};
  if (!isName(name)) {
    missing.emplace_back(name, EINVAL);
  } else if (fstatat(folder, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) {
    missing.emplace_back(name, errno);
  } else {
    found.add(kindOf(facts), name);
  }
}

}  // namespace copier
