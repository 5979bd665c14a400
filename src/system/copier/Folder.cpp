#include "system/copier/Folder.h"

#include <sys/stat.h>

#include <utility>
#include <vector>

namespace copier {

FolderIdentity FolderIdentity::of(int folder) {
  struct stat facts {};
  if (fstat(folder, &facts) != 0) return {};
  return {facts.st_dev, facts.st_ino};
}

// One parent after the other, as a chain that frees itself link by link takes stack for each.
Folder::~Folder() {
  while (parent && parent.use_count() == 1) {
    auto next = parent->parent;
    parent = std::move(next);
  }
}

std::string Folder::path() const {
  std::vector<const Folder*> chain;
  for (const Folder* at = this; at; at = at->parent.get()) chain.push_back(at);
  std::string path = chain.back()->name;
  for (auto at = chain.rbegin() + 1; at != chain.rend(); ++at) path += "/" + (*at)->name;
  return path;
}

std::string Folder::path(const char* entry) const { return path() + "/" + entry; }

}  // namespace copier
