#include "system/copier/ItemRemover.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "core/QVLog.h"
#include "system/FunctionLog.h"

namespace copier {
namespace {

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

// An item's name leads nowhere else. 0 when it is one.
int nameError(const std::string& name) {
  if (name.empty()) return ENOENT;
  return name == "." || name == ".." || name.find('/') != std::string::npos ? EINVAL : 0;
}

}  // namespace

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
  const std::string reason = errnoText(code);
  QVLogError("TreeRemover", "{}==-1 path:{} errno:{} ({})", verb, path, code, reason);
  const std::lock_guard lock(mutex_);
  failures_.try_emplace(item, platform::SystemError{"POSIX", code, path + ": " + reason});
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

}  // namespace copier
