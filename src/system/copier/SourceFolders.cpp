#include "system/copier/SourceFolders.h"

#include <fcntl.h>

#include <cerrno>

namespace copier {
namespace {

bool exists(int folder, const char* name) {
  struct stat facts {};
  return fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW) == 0 || errno != ENOENT;
}

}  // namespace

LackingEntries::LackingEntries(const std::vector<std::string>& paths) : nodes_(kRoot + 1) {
  for (const auto& path : paths) add(path);
}

void LackingEntries::add(std::string_view path) {
  Place at = kRoot;
  while (!path.empty()) {
    const auto name = path.substr(0, path.find('/'));
    path.remove_prefix(name.size());
    if (!path.empty()) path.remove_prefix(1);
    if (!name.empty()) at = findOrAdd(at, name);
  }
  if (at != kRoot) nodes_[at].listed = true;
}

LackingEntries::Place LackingEntries::findOrAdd(Place above, std::string_view name) {
  if (const Place known = find(above, name); known != kNone) return known;
  const auto added = static_cast<Place>(nodes_.size());
  nodes_.emplace_back();
  nodes_[above].below.emplace(name, added);
  return added;
}

LackingEntries::Place LackingEntries::find(Place above, std::string_view name) const {
  const auto& below = nodes_[above].below;
  const auto found = below.find(name);
  return found == below.end() ? kNone : found->second;
}

std::vector<std::string> LackingEntries::listedIn(Place place) const {
  std::vector<std::string> names;
  for (const auto& [name, node] : nodes_[place].below)
    if (nodes_[node].listed) names.emplace_back(name);
  return names;
}

SourceFolders::SourceFolders(const platform::FileCopying& system,
                             const std::optional<EarlierCopy>& earlier)
    : system_(system),
      earlier_(earlier ? &*earlier : nullptr),
      lacking_(earlier ? earlier->lacking : std::vector<std::string>{}) {}

SourceFolders::Opened SourceFolders::openRoot(Folder& root, const std::string& item) {
  Opened opened;
  rootHoldsItems_ = item.empty();
  root.lacking =
      rootHoldsItems_ ? LackingEntries::kRoot : lacking_.find(LackingEntries::kRoot, item);
  if (earlier_) {
    const std::string path = earlier_->folder + (rootHoldsItems_ ? "" : "/" + item);
    opened.sides[kEarlier] = Descriptor(system_.openFolder(AT_FDCWD, path.c_str()));
  }
  openOriginal(root, AT_FDCWD, opened);
  return opened;
}

SourceFolders::Opened SourceFolders::open(Folder& folder, const Sides& above) const {
  const Folder& parent = *folder.parent;
  Opened opened;
  folder.listed = parent.listed;
  folder.origin = parent.origin;
  if (parent.lacking != LackingEntries::kNone)
    folder.lacking = lacking_.find(parent.lacking, folder.name);
  if (above[kEarlier])
    opened.sides[kEarlier] =
        Descriptor(system_.openFolder(above[kEarlier].get(), folder.name.c_str()));
  if (folder.listed == kEarlier) return opened;
  openOriginal(folder, above[kFrom].get(), opened);
  opened.otherMount = opened.sides[kFrom] && isOnOtherMount(folder);
  if (!opened.otherMount || !opened.sides[kEarlier]) return opened;
  opened.sides[kFrom].reset();
  folder.listed = kEarlier;
  folder.origin = Origin::Unread;
  return opened;
}

// What went away meanwhile is no failure, and not taken from the earlier copy either.
void SourceFolders::openOriginal(Folder& folder, int above, Opened& opened) const {
  Descriptor original(system_.openFolder(above, folder.name.c_str()));
  struct stat facts {};
  if (original && fstat(original.get(), &facts) == 0) {
    folder.identities[kFrom] = FolderIdentity::of(facts);
    folder.mount = system_.mountNumber(original.get());
    opened.sides[kFrom] = std::move(original);
    return;
  }
  opened.error = errno;
  if (!opened.sides[kEarlier] || opened.error == ENOENT) return;
  folder.listed = kEarlier;
  folder.origin = Origin::Unread;
}

bool SourceFolders::isOnOtherMount(const Folder& folder) const {
  const Folder& parent = *folder.parent;
  return folder.mount != parent.mount ||
         folder.identities[kFrom].device != parent.identities[kFrom].device;
}

NameList SourceFolders::lacking(Folder& folder, const Sides& sides) const {
  NameList names;
  if (!sides[kEarlier] || folder.listed == kEarlier) return names;
  if (takesAllLacking(folder)) {
    addAllLacking(folder, sides, names);
  } else if (folder.lacking != LackingEntries::kNone) {
    addListed(folder, sides, names);
  }
  if (names.empty()) return names;
  folder.listed = kEarlier;
  folder.origin = folder.listingFailed ? Origin::Unread : Origin::Lacked;
  return names;
}

// Of a listed folder that is there only some entries arrived.
bool SourceFolders::takesAllLacking(const Folder& folder) const {
  return folder.listingFailed || earlier_->lacksUnlisted || lacking_.isListed(folder.lacking);
}

void SourceFolders::addListed(const Folder& folder, const Sides& sides, NameList& names) const {
  for (const auto& name : lacking_.listedIn(folder.lacking)) {
    struct stat facts {};
    const int earlier = sides[kEarlier].get();
    if (fstatat(earlier, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0)
      addIfLacking(folder, sides, {kindOf(facts), name.c_str()}, names);
  }
}

void SourceFolders::addAllLacking(const Folder& folder, const Sides& sides, NameList& names) const {
  FolderListing listing(sides[kEarlier].get());
  while (const auto entry = listing.next()) addIfLacking(folder, sides, *entry, names);
}

// Where the listing failed, what did not arrive is lacking.
void SourceFolders::addIfLacking(const Folder& folder, const Sides& sides,
                                 const NameList::Entry& entry, NameList& names) const {
  if (!folder.parent && rootHoldsItems_ && earlier_->leavesAlone &&
      earlier_->leavesAlone(entry.name))
    return;
  if (sides[kTo] && exists(sides[kTo].get(), entry.name)) return;
  if (folder.listingFailed || !exists(sides[kFrom].get(), entry.name))
    names.add(entry.kind, entry.name);
}

}  // namespace copier
