// Removal is a walk (TreeWalk) whose visits take entries away and that removes each folder when it
// is left. Everything goes by name within an open folder, so that no link and nothing that is moved
// meanwhile can lead a removal elsewhere: a name is unlinked as what it is, and a folder is entered
// only when it is one.
//
// It stays on the mount that the items' folder lies on. A device number alone would not tell, as a
// folder of the same file system can be mounted anywhere; the mount's number does where the system
// has one. What holds a mount point cannot go, and neither can the folders above it: they are
// marked (Folder::remains), so that only the cause is told and not that each of them "is not
// empty".
//
// Folders that their owner locked (no right to search or change) are unlocked first, as only that
// makes the removal of a build tree with read-only folders possible for an ordinary user; whether
// such a folder is on the mount is looked at before, without opening it for reading. What is gone
// when we come to it was removed by somebody else, which is what was wanted.

#include "system/TreeRemover.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/QVLog.h"
#include "platform/FileCopying.h"
#include "platform/Services.h"
#include "system/Errno.h"
#include "system/copier/TreeWalk.h"

namespace copier {
namespace {

// Removes items of a folder, the root of the walk, which stays. What another program removed
// meanwhile is as good as removed.
class ItemRemover : public WalkVisitor {
 public:
  ItemRemover(const platform::FileCopying& system, OpenFolders& open)
      : system_(system), open_(open) {}

  // The items to walk over; those that are not there have failed. Notes the mount that the walk
  // stays on.
  NameList begin(const FolderPtr& root, const std::vector<std::string>& names, int opened);

  void fail(const std::string& item, std::string_view verb, const std::string& path, int code);
  RemovalOutcome finish();  // when the walk is done

  std::optional<Sides> enter(const FolderPtr& folder, const Sides& above) override;
  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;
  void leave(const FolderPtr& folder, const Sides& sides) override;
  bool takesAway() const override { return true; }
  void failed(const Folder& folder, const char* verb, int code) override;

 private:
  bool unlinked(int folder, const char* name, int flags);
  Descriptor openFolder(int above, const char* name) const;
  bool unlock(int above, const char* name) const;
  bool isOnMount(int folder) const;

  const platform::FileCopying& system_;
  OpenFolders& open_;
  dev_t device_ = 0;  // where the items lie
  std::uint64_t mount_ = 0;
  std::atomic<std::uint64_t> removed_{0};

  std::mutex mutex_;
  std::map<std::string, platform::SystemError> failures_;  // guarded by mutex_
};

constexpr int kFolder = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool mayUnlock(const struct stat& facts) {
  return S_ISDIR(facts.st_mode) && (facts.st_mode & S_IRWXU) != S_IRWXU &&
         facts.st_uid == geteuid();
}

// The folder in the root that this one is or lies in.
const std::string& itemOf(const Folder& folder) {
  const Folder* at = &folder;
  while (at->parent && at->parent->parent) at = at->parent.get();
  return at->name;
}

// 0 when it is one.
int nameError(const std::string& name) {
  if (name.empty()) return ENOENT;
  return isEntryName(name) ? 0 : EINVAL;
}

NameList ItemRemover::begin(const FolderPtr& root, const std::vector<std::string>& names,
                            int opened) {
  device_ = FolderIdentity::of(opened).device;
  mount_ = system_.mountNumber(opened);
  NameList items;
  for (const auto& name : names) {
    struct stat facts {};
    int error = nameError(name);
    if (error == 0 && fstatat(opened, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
      error = errno;
    if (error != 0)
      fail(name, "fstatat", root->path(name.c_str()), error);
    else
      items.add(S_ISDIR(facts.st_mode) ? EntryKind::Folder : EntryKind::Other, name);
  }
  return items;
}

RemovalOutcome ItemRemover::finish() { return {removed_, std::move(failures_)}; }

std::optional<Sides> ItemRemover::enter(const FolderPtr& folder, const Sides& above) {
  Sides sides;
  sides[0] = openFolder(above[0].get(), folder->name.c_str());
  struct stat facts {};
  if (!sides[0] || fstat(sides[0].get(), &facts) != 0) {
    failed(*folder, "openat", errno);
    return std::nullopt;
  }
  if (!isOnMount(sides[0].get())) {
    failed(*folder, "openat", EBUSY);
    return std::nullopt;
  }
  if (mayUnlock(facts)) fchmod(sides[0].get(), S_IRWXU);
  return sides;
}

void ItemRemover::visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
                        unsigned /*worker*/) {
  if (unlinked(sides[0].get(), entry.name, 0)) return;
  const int code = errno;
  folder->remains = true;
  fail(folder->parent ? itemOf(*folder) : entry.name, "unlinkat", folder->path(entry.name), code);
}

// What could not be emptied was told of already.
void ItemRemover::leave(const FolderPtr& folder, const Sides& /*sides*/) {
  if (!folder->parent) return;
  if (folder->remains) {
    folder->parent->remains = true;
    return;
  }
  const auto above = open_.acquire(folder->parent);
  if (!above || !unlinked((*above)[0].get(), folder->name.c_str(), AT_REMOVEDIR))
    failed(*folder, above ? "unlinkat" : "openat", errno);
}

// A folder that is gone is none that failed.
void ItemRemover::failed(const Folder& folder, const char* verb, int code) {
  if (code == ENOENT) return;
  if (folder.parent) folder.parent->remains = true;
  fail(itemOf(folder), verb, folder.path(), code);
}

void ItemRemover::fail(const std::string& item, std::string_view verb, const std::string& path,
                       int code) {
  QVLogError("TreeRemover", "{}==-1 path:{} errno:{} ({})", verb, path, code, errnoText(code));
  const std::lock_guard lock(mutex_);
  failures_.try_emplace(item, errnoError(code, path));
}

bool ItemRemover::unlinked(int folder, const char* name, int flags) {
  if (unlinkat(folder, name, flags) != 0) return errno == ENOENT;
  removed_.fetch_add(1, std::memory_order_relaxed);
  return true;
}

Descriptor ItemRemover::openFolder(int above, const char* name) const {
  Descriptor opened(openat(above, name, O_RDONLY | kFolder));
  if (opened || errno != EACCES) return opened;
  if (unlock(above, name)) return Descriptor(openat(above, name, O_RDONLY | kFolder));
  errno = EACCES;
  return {};
}

// A folder that the user owns and may not read. That it is on this mount is looked at first, so
// that nothing of a volume mounted there is touched.
bool ItemRemover::unlock(int above, const char* name) const {
  struct stat facts {};
#if defined(O_PATH)
  const Descriptor found(openat(above, name, O_PATH | kFolder));  // asks for no right to read it
  if (!found || fstat(found.get(), &facts) != 0 || !isOnMount(found.get())) return false;
#else
  if (fstatat(above, name, &facts, AT_SYMLINK_NOFOLLOW) != 0 || facts.st_dev != device_)
    return false;
#endif
  return mayUnlock(facts) && fchmodat(above, name, S_IRWXU, AT_SYMLINK_NOFOLLOW) == 0;
}

bool ItemRemover::isOnMount(int folder) const {
  return FolderIdentity::of(folder).device == device_ && system_.mountNumber(folder) == mount_;
}

// Takes out of a folder what is the same file as in another one, with the folders that are empty
// after that. Side 0 is the folder, side 1 the other.
class SharedRemover : public WalkVisitor {
 public:
  SharedRemover(const platform::FileCopying& system, OpenFolders& open)
      : system_(system), open_(open) {}

  std::optional<Sides> begin(const char* folder, const char* other) const;
  std::uint64_t removed() const { return removed_; }

  std::optional<Sides> enter(const FolderPtr& folder, const Sides& above) override;
  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;
  void leave(const FolderPtr& folder, const Sides& sides) override;
  bool takesAway() const override { return true; }
  void failed(const Folder& folder, const char* verb, int code) override;

 private:
  std::optional<Sides> open(int folder, const char* folderName, int other,
                            const char* otherName) const;

  const platform::FileCopying& system_;
  OpenFolders& open_;
  std::atomic<std::uint64_t> removed_{0};
};

constexpr std::size_t kRemovedFolder = 0;
constexpr std::size_t kOther = 1;

std::optional<Sides> SharedRemover::begin(const char* folder, const char* other) const {
  return open(AT_FDCWD, folder, AT_FDCWD, other);
}

std::optional<Sides> SharedRemover::enter(const FolderPtr& folder, const Sides& above) {
  const char* name = folder->name.c_str();
  return open(above[kRemovedFolder].get(), name, above[kOther].get(), name);
}

// Where the other one has no such folder nothing can be shared.
std::optional<Sides> SharedRemover::open(int folder, const char* folderName, int other,
                                         const char* otherName) const {
  Sides sides;
  sides[kRemovedFolder] = Descriptor(system_.openFolder(folder, folderName));
  sides[kOther] = Descriptor(system_.openFolder(other, otherName));
  if (!sides[kRemovedFolder] || !sides[kOther]) return std::nullopt;
  return sides;
}

void SharedRemover::visit(const FolderPtr& /*folder*/, const Sides& sides,
                          const NameList::Entry& entry, unsigned /*worker*/) {
  struct stat own {};
  struct stat others {};
  if (fstatat(sides[kRemovedFolder].get(), entry.name, &own, AT_SYMLINK_NOFOLLOW) != 0 ||
      own.st_nlink < 2 ||
      fstatat(sides[kOther].get(), entry.name, &others, AT_SYMLINK_NOFOLLOW) != 0 ||
      own.st_dev != others.st_dev || own.st_ino != others.st_ino)
    return;
  if (unlinkat(sides[kRemovedFolder].get(), entry.name, 0) == 0) ++removed_;
}

// One that holds something stays.
void SharedRemover::leave(const FolderPtr& folder, const Sides& /*sides*/) {
  if (!folder->parent) return;
  if (const auto above = open_.acquire(folder->parent))
    unlinkat((*above)[kRemovedFolder].get(), folder->name.c_str(), AT_REMOVEDIR);
}

void SharedRemover::failed(const Folder& folder, const char* verb, int code) {
  QVLogWarning("TreeRemover", "{}==-1 path:{} errno:{}", verb, folder.path(), code);
}

}  // namespace
}  // namespace copier

namespace {

#if defined(O_PATH)
constexpr int kOpenRoot = O_PATH | O_DIRECTORY | O_CLOEXEC;  // asks for no right to list it
#else
constexpr int kOpenRoot = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
#endif

}  // namespace

RemovalOutcome removeItems(const std::vector<std::string>& names, Descriptor folder,
                           const std::string& path, unsigned threads) {
  const int code = errno;
  const auto root = std::make_shared<copier::Folder>(nullptr, copier::withoutSlashes(path));
  copier::OpenFolders open;
  copier::ItemRemover remover(*platform::services().fileCopying, open);
  copier::Sides sides;
  sides[0] = std::move(folder);
  if (sides[0]) {
    auto items = remover.begin(root, names, sides[0].get());
    copier::TreeWalk(remover, open, copier::threadsFor(threads)).run(root, std::move(sides), items);
  } else {
    for (const auto& name : names) remover.fail(name, "open", root->path(name.c_str()), code);
  }
  return remover.finish();
}

RemovalOutcome removeItems(const std::vector<std::string>& names, const std::string& folder,
                           unsigned threads) {
  return removeItems(names, Descriptor(::open(folder.c_str(), kOpenRoot)), folder, threads);
}

platform::Outcome removeItemBelow(const Descriptor& folder, const std::string& path,
                                  std::string_view relative) {
  const auto& system = *platform::services().fileCopying;
  const auto device = copier::FolderIdentity::of(folder.get()).device;
  std::string place = path;
  Descriptor above(openat(folder.get(), ".", kOpenRoot));
  while (true) {
    const std::string name(relative.substr(0, relative.find('/')));
    if (name.size() == relative.size()) {
      auto outcome = removeItems({name}, std::move(above), place);
      if (outcome.complete()) return {};
      return std::move(outcome.failedItems.begin()->second);
    }
    relative.remove_prefix(name.size() + 1);
    place.append("/").append(name);
    if (!copier::isEntryName(name)) return errnoError(EINVAL, place);
    above = Descriptor(openat(above.get(), name.c_str(), kOpenRoot | O_NOFOLLOW));
    if (!above) return errnoError(errno, place);
    if (copier::FolderIdentity::of(above.get()).device != device ||
        system.mountNumber(above.get()) != system.mountNumber(folder.get()))
      return errnoError(EBUSY, place);
  }
}

platform::Outcome removeItemAtPath(const std::string& path, unsigned threads) {
  const std::string trimmed = copier::withoutSlashes(path);
  if (trimmed.empty() || trimmed == "/") return errnoError(path.empty() ? ENOENT : EBUSY, path);
  const auto slash = trimmed.rfind('/');
  const bool alone = slash == std::string::npos;
  const std::string name = alone ? trimmed : trimmed.substr(slash + 1);
  const std::string folder = alone ? "." : trimmed.substr(0, slash + 1);
  auto outcome = removeItems({name}, folder, threads != 0 ? threads : copier::kMostThreads);
  if (outcome.complete()) return {};
  return std::move(outcome.failedItems.begin()->second);
}

std::uint64_t removeShared(const std::string& folder, const std::string& other, unsigned threads) {
  copier::OpenFolders open;
  copier::SharedRemover remover(*platform::services().fileCopying, open);
  auto sides = remover.begin(folder.c_str(), other.c_str());
  if (!sides) return 0;
  const auto root = std::make_shared<copier::Folder>(nullptr, copier::withoutSlashes(folder));
  copier::TreeWalk(remover, open, copier::threadsFor(threads)).run(root, *std::move(sides));
  return remover.removed();
}
