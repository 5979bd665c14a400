#pragma once

#include <atomic>
#include <string>

#include "platform/FileCopying.h"
#include "system/copier/CopyTally.h"
#include "system/copier/Folder.h"
#include "system/copier/LinkTable.h"
#include "system/copier/OpenFolders.h"
#include "system/copier/UnchangedRule.h"

namespace copier {

struct NamedEntry {
  int folder;
  const char* name;
};

// Where an entry comes from and where its copy goes.
struct EntryPlace {
  const FolderPtr& folder;  // null for an item that is copied by itself
  Origin origin;
  NamedEntry from;
  NamedEntry to;
  NamedEntry earlier;  // folder -1 for none

  // Relative to the root.
  std::string entry() const { return folder ? folder->relativePath(from.name) : std::string(); }

  bool getsListsFromAbove() const { return !folder || folder->handsListsDown; }
};

// What the threads of one copy share.
struct CopyShared {
  const platform::FileCopying& system;
  OpenFolders& open;
  CopyTally& tally;
  const UnchangedRule& rule;

  // The ids of what this process makes.
  uid_t user;
  gid_t group;

  LinkTable links{};
  std::atomic<bool> sharesBlocks{true};  // with the earlier copy, as far as is known

  bool makesOwnerOf(const struct stat& facts) const {
    return facts.st_uid == user && facts.st_gid == group;
  }
  bool isOwned(const EntryPlace& place, const struct stat& facts) const {
    return place.folder && place.folder->ownsWhatIsMade && makesOwnerOf(facts);
  }
};

}  // namespace copier
