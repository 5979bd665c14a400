#include "system/copier/Folders.h"

#include <algorithm>
#include <cerrno>
#include <unordered_set>

namespace copier {
namespace {

constexpr std::size_t kBlockBytes = 64 << 10;  // of a NameList
constexpr std::size_t kFewNames = 16;          // are looked at one by one

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

void NameList::add(EntryKind kind, std::string_view name) {
  const std::size_t bytes = name.size() + 2;
  if (blocks_.empty() || blocks_.back().size() + bytes > kBlockBytes) blocks_.emplace_back();
  std::string& block = blocks_.back();
  block += static_cast<char>(kind);
  block += name;
  block += '\0';
  ++size_;
}

std::optional<NameList::Entry> NameList::take() {
  if (empty()) return std::nullopt;
  if (offset_ == blocks_[block_].size()) {
    blocks_[block_++] = std::string();
    offset_ = 0;
  }
  const char* entry = blocks_[block_].data() + offset_;
  offset_ += std::string_view(entry).size() + 1;
  --size_;
  return Entry{static_cast<EntryKind>(*entry), entry + 1};
}

NameList NameList::takeHalf() {
  NameList half;
  for (std::size_t left = size_ / 2; left > 0; --left) {
    const auto entry = take();
    half.add(entry->kind, entry->name);
  }
  return half;
}

FolderListing::FolderListing(int folder) : folder_(folder) {
  Descriptor copy(fcntl(folder, F_DUPFD_CLOEXEC, 0));
  if (copy) stream_.reset(fdopendir(copy.get()));
  if (stream_)
    copy.release();
  else
    error_ = errno;
}

std::optional<NameList::Entry> FolderListing::next() {
  while (stream_) {
    errno = 0;
    const dirent* entry = readdir(stream_.get());
    if (!entry) {
      error_ = errno;
      return std::nullopt;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") return NameList::Entry{kindOf(*entry), entry->d_name};
  }
  return std::nullopt;
}

// Not every file system tells the type in its listing.
EntryKind FolderListing::kindOf(const dirent& entry) const {
  if (entry.d_type == DT_DIR) return EntryKind::Folder;
  if (entry.d_type == DT_REG) return EntryKind::File;
  if (entry.d_type != DT_UNKNOWN) return EntryKind::Other;
  struct stat facts {};
  if (fstatat(folder_, entry.d_name, &facts, AT_SYMLINK_NOFOLLOW) != 0) return EntryKind::Other;
  return copier::kindOf(facts);
}

bool isEntryName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

// Of many, the folder's listing tells the kinds in less time.
NamedEntries::NamedEntries(int folder, const std::vector<std::string>& names) {
  std::unordered_set<std::string_view> left(names.begin(), names.end());
  if (names.size() > kFewNames) {
    FolderListing listing(folder);
    while (const auto entry = listing.next())
      if (left.erase(entry->name) != 0) found.add(entry->kind, entry->name);
  }
  for (const auto& name : names)
    if (left.erase(name) != 0) look(folder, name);
}

void NamedEntries::look(int folder, const std::string& name) {
  struct stat facts {};
  if (!isEntryName(name)) {
    missing.emplace_back(name, EINVAL);
  } else if (fstatat(folder, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) {
    missing.emplace_back(name, errno);
  } else {
    found.add(kindOf(facts), name);
  }
}

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
