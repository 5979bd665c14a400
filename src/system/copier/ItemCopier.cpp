#include "system/copier/ItemCopier.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "core/QVLog.h"
#include "system/FunctionLog.h"
#include "system/copier/ItemAttributes.h"

namespace copier {
namespace {}  // namespace

std::optional<Sides> ItemCopier::beginItem(const FolderPtr& root, SourceFolders::Opened opened,
                                           const std::string& to) {
  if (opened.error != 0) failed(*root, "openat", opened.error);
  if (!opened.canBeWalked(*root)) return std::nullopt;
  opened.sides[kTo] = makeCopy(*root, AT_FDCWD, to.c_str());
  if (!opened.sides[kTo]) return std::nullopt;
  shared_.system.dropAccessLists(opened.sides[kTo].get());
  copy_ = root->identities[kTo];
  return std::move(opened.sides);
}

Sides ItemCopier::beginItems(const FolderPtr& root, SourceFolders::Opened opened, Descriptor to) {
  rootIsKept_ = true;
  root->handsListsDown = shared_.system.handsListsDown(to.get());
  copy_ = FolderIdentity::of(to.get());
  opened.sides[kTo] = std::move(to);
  return std::move(opened.sides);
}

std::optional<Sides> ItemCopier::enter(const FolderPtr& folder, const Sides& above) {
  auto opened = sources_.open(*folder, above);
  if (isItsOwnCopy(*folder)) return failed(*folder, "openat", EINVAL), std::nullopt;
  if (opened.error != 0 && opened.error != ENOENT) failed(*folder, "openat", opened.error);
  if (!opened.canBeWalked(*folder)) return std::nullopt;
  opened.sides[kTo] = makeCopy(*folder, above[kTo].get(), folder->name.c_str());
  if (!opened.sides[kTo]) return std::nullopt;
  if (folder->parent->handsListsDown) shared_.system.dropAccessLists(opened.sides[kTo].get());
  if (!opened.otherMount) return std::move(opened.sides);
  QVLogWarning("TreeCopier", "mount point not entered, path:{}",
               shared_.tally.pathOf(folder->relativePath()));
  leave(folder, opened.sides);
  return std::nullopt;
}

void ItemCopier::visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
                       unsigned worker) {
  auto& copier = workers_[worker];
  if (!copier) copier = std::make_unique<EntryCopier>(shared_);
  const int earlier = folder->listed == kEarlier ? -1 : sides[kEarlier].get();
  copier->copy({folder,
                folder->origin,
                {sides[folder->listed].get(), entry.name},
                {sides[kTo].get(), entry.name},
                {earlier, entry.name}},
               entry.kind);
}

NameList ItemCopier::more(const FolderPtr& folder, const Sides& sides) {
  return sources_.lacking(*folder, sides);
}

// From the original, although what it lacks came from elsewhere.
void ItemCopier::leave(const FolderPtr& folder, const Sides& sides) {
  if (rootIsKept_ && !folder->parent) return;
  const int from = (sides[kFrom] ? sides[kFrom] : sides[kEarlier]).get();
  struct stat facts {};
  if (fstat(from, &facts) != 0) return notLeft(*folder, errno);
  const bool owned = folder->ownsWhatIsMade && shared_.makesOwnerOf(facts);
  const ItemAttributes attributes(shared_.system, facts, owned);
  if (const auto failure = attributes.give(from, sides[kTo].get()))
    shared_.tally.addFailure(folder->relativePath(), *failure);
}

void ItemCopier::failed(const Folder& folder, const char* verb, int code) {
  shared_.tally.addFailure(verb, folder.relativePath(), code);
}

void ItemCopier::notLeft(const Folder& folder, int code) {
  shared_.tally.addFailure(folder.relativePath(), {"POSIX", code, errnoText(code)});
}

Descriptor ItemCopier::makeCopy(Folder& folder, int above, const char* name) {
  if (mkdirat(above, name, S_IRWXU) != 0) {
    fail(folder, "mkdirat");
    return {};
  }
  Descriptor made(openat(above, name, kOpenFolder));
  struct stat facts {};
  if (!made || fstat(made.get(), &facts) != 0) {
    fail(folder, "openat");
    unlinkat(above, name, AT_REMOVEDIR);
    return {};
  }
  folder.identities[kTo] = FolderIdentity::of(facts);
  folder.ownsWhatIsMade = shared_.makesOwnerOf(facts);
  shared_.tally.addEntry();
  return made;
}

bool ItemCopier::isItsOwnCopy(const Folder& folder) const {
  return copy_.inode != 0 && folder.identities[kFrom] == copy_;
}

void ItemCopier::fail(const Folder& folder, const char* verb) { failed(folder, verb, errno); }

}  // namespace copier
