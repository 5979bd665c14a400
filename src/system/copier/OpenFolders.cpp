#include "system/copier/OpenFolders.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <optional>

namespace copier {
namespace {

// With three sides, eight threads and what these hold, below the 256 descriptors that a program
// of macOS starts with.
constexpr std::size_t kMostOpen = 32;
constexpr std::size_t kAhead = 8;  // levels; other threads may be done with those below them sooner
// The folder's sides by one name in the open folder of each.
std::optional<Sides> openSides(const Folder& folder, const Sides& from, const char* name) {
  Sides sides;
  for (std::size_t i = 0; i < kMostSides; ++i) {
    if (folder.identities[i].inode == 0) continue;
    sides[i] = Descriptor(openat(from[i].get(), name, kOpenFolder));
    if (!sides[i]) return std::nullopt;
    if (FolderIdentity::of(sides[i].get()) == folder.identities[i]) continue;
    errno = ESTALE;
    return std::nullopt;
  }
  return sides;
}

}  // namespace

SidesPtr OpenFolders::add(const FolderPtr& folder, Sides sides) {
  for (std::size_t i = 0; i < kMostSides; ++i)
    if (sides[i] && folder->identities[i].inode == 0)
      folder->identities[i] = FolderIdentity::of(sides[i].get());
  return keep(folder, std::move(sides));
}

SidesPtr OpenFolders::acquire(const FolderPtr& folder) {
  std::vector<FolderPtr> closed;
  SidesPtr sides;
  for (FolderPtr at = folder; !(sides = find(at)); at = at->parent) closed.push_back(at);
  for (; !closed.empty(); closed.pop_back()) {
    auto opened = openSides(*closed.back(), *sides, closed.back()->name.c_str());
    if (!opened) return nullptr;
    const bool near = closed.size() <= kAhead;
    sides = near ? keep(closed.back(), *std::move(opened))
                 : std::make_shared<const Sides>(*std::move(opened));
  }
  return sides;
}

void OpenFolders::openAbove(const FolderPtr& folder, const SidesPtr& sides) {
  FolderPtr at = folder;
  SidesPtr from = climbOpen(at, sides);
  for (std::size_t more = kAhead; from && more > 0 && at->parent && !find(at->parent); --more) {
    auto opened = openSides(*at->parent, *from, "..");
    if (!opened) return;
    at = at->parent;
    from = keep(at, *std::move(opened));
  }
}

// The last in a row of open folders upwards; null when the row goes on for long enough.
SidesPtr OpenFolders::climbOpen(FolderPtr& at, SidesPtr sides) {
  const std::lock_guard lock(mutex_);
  for (std::size_t level = 0; level < kAhead; ++level) {
    if (!at->parent || !at->parent->sides) return sides;
    at = at->parent;
    sides = at->sides;
  }
  return nullptr;
}

void OpenFolders::close(const FolderPtr& folder) {
  SidesPtr closed;  // after the lock is given back
  const std::lock_guard lock(mutex_);
  std::erase(open_, folder);
  closed.swap(folder->sides);
}

SidesPtr OpenFolders::find(const FolderPtr& folder) {
  const std::lock_guard lock(mutex_);
  folder->lastUse = ++uses_;
  return folder->sides;
}

SidesPtr OpenFolders::keep(const FolderPtr& folder, Sides sides) {
  auto opened = std::make_shared<const Sides>(std::move(sides));
  SidesPtr closed;
  const std::lock_guard lock(mutex_);
  if (folder->parent && !folder->sides) {
    if (open_.size() >= kMostOpen) closed = makeRoom();
    open_.push_back(folder);
  }
  folder->lastUse = ++uses_;
  folder->sides = opened;
  return opened;
}

SidesPtr OpenFolders::makeRoom() {
  const auto oldest =
      std::min_element(open_.begin(), open_.end(),
                       [](const auto& a, const auto& b) { return a->lastUse < b->lastUse; });
  SidesPtr closed = std::move((*oldest)->sides);
  (*oldest)->sides = nullptr;
  open_.erase(oldest);
  return closed;
}

}  // namespace copier
