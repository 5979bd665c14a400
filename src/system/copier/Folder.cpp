#include "system/copier/Folder.h"

#include <utility>
#include <vector>

namespace copier {

FolderIdentity FolderIdentity::of(const struct stat& facts) { return {facts.st_dev, facts.st_ino}; }

FolderIdentity FolderIdentity::of(int folder) {
  struct stat facts {};
  if (fstat(folder, &facts) != 0) return {};
  return of(facts);
}

// One parent after the other, as a chain that frees itself link by link takes stack for each.
Folder::~Folder() {
  while (parent && parent.use_count() == 1) {
    auto next = parent->parent;
    parent = std::move(next);
  }
}

std::string Folder::path() const {
  const Folder* root = this;
  while (root->parent) root = root->parent.get();
  const std::string below = relativePath();
  return below.empty() ? root->name : root->name + "/" + below;
}

std::string Folder::path(const char* entry) const { return path() + "/" + entry; }

std::string Folder::relativePath() const {
  std::vector<const Folder*> chain;
  for (const Folder* at = this; at->parent; at = at->parent.get()) chain.push_back(at);
  std::string path;
  for (auto at = chain.rbegin(); at != chain.rend(); ++at)
    path += (path.empty() ? "" : "/") + (*at)->name;
  return path;
}

std::string Folder::relativePath(const char* entry) const {
  const std::string above = relativePath();
  return above.empty() ? entry : above + "/" + entry;
}

}  // namespace copier
