#include "system/copier/ChangeSearch.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/Services.h"
#include "system/copier/Times.h"

namespace copier {

bool ChangeSearch::finds(const std::vector<std::string>& names, const std::string& folder,
                         const timespec& since, unsigned threads) {
  struct stat facts {};
  if (fstatat(AT_FDCWD, folder.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) return true;
  ChangeSearch search(*platform::services().fileCopying, since, facts.st_dev);
  return search.run(names, folder, threads) != 0 || search.found_;
}

void ChangeSearch::visit(const FolderPtr& /*folder*/, const Sides& sides,
                         const NameList::Entry& entry, unsigned /*worker*/) {
  if (!found_) look(sides[kFrom].get(), entry.name);
}

void ChangeSearch::entered(const Folder& /*folder*/, const Sides& sides) {
  struct stat facts {};
  if (fstat(sides[kFrom].get(), &facts) != 0 || isChanged(facts)) found_ = true;
}

void ChangeSearch::look(int folder, const char* name) {
  struct stat facts {};
  if (fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW) != 0 || isChanged(facts)) found_ = true;
}

// What lies elsewhere goes by another clock.
bool ChangeSearch::isChanged(const struct stat& facts) const {
  return facts.st_dev != device_ || !isBefore(system_.changeTime(facts), since_);
}

}  // namespace copier
