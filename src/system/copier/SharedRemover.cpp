#include "system/copier/SharedRemover.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/QVLog.h"

namespace copier {
namespace {

constexpr std::size_t kRemovedFolder = 0;
constexpr std::size_t kOther = 1;

}  // namespace

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

}  // namespace copier
