#include "system/copier/ItemCopier.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "core/QVLog.h"
#include "system/copier/ItemAttributes.h"

namespace copier {
namespace {

constexpr std::size_t kFrom = 0;
constexpr std::size_t kTo = 1;
constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

}  // namespace

std::optional<Sides> ItemCopier::begin(const FolderPtr& root, const std::string& to) {
  Sides sides;
  sides[kFrom] = openOriginal(*root, AT_FDCWD);
  if (!sides[kFrom]) return std::nullopt;
  mount_ = shared_.system.mountNumber(sides[kFrom].get());
  device_ = FolderIdentity::of(sides[kFrom].get()).device;
  sides[kTo] = makeCopy(*root, AT_FDCWD, to.c_str());
  if (!sides[kTo]) return std::nullopt;
  shared_.system.dropAccessLists(sides[kTo].get());
  copy_ = FolderIdentity::of(sides[kTo].get());
  return sides;
}

std::optional<Sides> ItemCopier::enter(const FolderPtr& folder, const Sides& above) {
  Sides sides;
  sides[kFrom] = openOriginal(*folder, above[kFrom].get());
  if (!sides[kFrom]) return std::nullopt;
  sides[kTo] = makeCopy(*folder, above[kTo].get(), folder->name.c_str());
  if (!sides[kTo]) return std::nullopt;
  if (isOnSameMount(sides[kFrom].get())) return sides;
  QVLogWarning("TreeCopier", "mount point not entered, path:{}", folder->path());
  leave(folder, sides);
  return std::nullopt;
}

void ItemCopier::visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
                       unsigned worker) {
  auto& copier = workers_[worker];
  if (!copier) copier = std::make_unique<EntryCopier>(shared_);
  copier->copy({folder, sides[kFrom].get(), entry.name, sides[kTo].get(), entry.name}, entry.kind);
}

void ItemCopier::leave(const FolderPtr& folder, const Sides& sides) {
  struct stat facts {};
  if (fstat(sides[kFrom].get(), &facts) != 0) return fail(*folder, "fstat");
  const bool owned = folder->ownsWhatIsMade && shared_.makesOwnerOf(facts);
  const ItemAttributes attributes(shared_.system, facts, owned);
  if (const auto failure = attributes.give(sides[kFrom].get(), sides[kTo].get()))
    shared_.tally.addFailure(folder->path(), *failure);
}

void ItemCopier::failed(const Folder& folder, const char* verb, int code) {
  shared_.tally.addFailure(verb, folder.path(), code);
}

// What went away after it was listed is no failure, and neither is it a folder to be made.
Descriptor ItemCopier::openOriginal(const Folder& folder, int above) {
  Descriptor opened(shared_.system.openFolder(above, folder.name.c_str()));
  if (!opened) {
    if (errno != ENOENT || !folder.parent) fail(folder, "openat");
    return {};
  }
  if (folder.parent && FolderIdentity::of(opened.get()) == copy_) {
    errno = EINVAL;  // a folder is being copied into itself
    fail(folder, "openat");
    return {};
  }
  return opened;
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
  folder.ownsWhatIsMade = shared_.makesOwnerOf(facts);
  shared_.tally.addEntry();
  return made;
}

bool ItemCopier::isOnSameMount(int original) const {
  return FolderIdentity::of(original).device == device_ &&
         shared_.system.mountNumber(original) == mount_;
}

void ItemCopier::fail(const Folder& folder, const char* verb) {
  const int code = errno;
  shared_.tally.addFailure(verb, folder.path(), code);
}

}  // namespace copier
