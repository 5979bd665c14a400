#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/FileCopying.h"
#include "system/copier/CopyTally.h"
#include "system/copier/FileContents.h"
#include "system/copier/Folder.h"
#include "system/copier/LinkTable.h"
#include "system/copier/OpenFolders.h"

namespace copier {

// Where an entry comes from and where its copy goes.
struct EntryPlace {
  const FolderPtr& folder;  // null for an item that is copied by itself
  int fromFolder;
  const char* fromName;
  int toFolder;
  const char* toName;

  std::string path() const { return folder ? folder->path(fromName) : std::string(fromName); }
};

// What the threads of one copy share.
struct CopyShared {
  const platform::FileCopying& system;
  OpenFolders& open;
  CopyTally& tally;
  LinkTable links{};

  // The ids of what this process makes.
  uid_t user;
  gid_t group;

  bool makesOwnerOf(const struct stat& facts) const {
    return facts.st_uid == user && facts.st_gid == group;
  }
};

// Copies entries that are no folders, for one thread. Failures go to the tally.
class EntryCopier {
 public:
  explicit EntryCopier(CopyShared& shared);

  void copy(const EntryPlace& place, EntryKind kind);

 private:
  template <class Make>
  void copyOnce(const EntryPlace& place, const struct stat& facts, Make make);
  bool linkTo(const LinkTable::Made& made, const EntryPlace& place);

  void copyFile(const EntryPlace& place);
  void copyOther(const EntryPlace& place);
  void copyOther(const EntryPlace& place, const struct stat& facts);
  bool makeFile(const EntryPlace& place, int from, const struct stat& facts);
  bool fillFile(const EntryPlace& place, int from, Descriptor to, const struct stat& facts);
  bool makeLink(const EntryPlace& place, const struct stat& facts);
  bool makePipe(const EntryPlace& place, const struct stat& facts);

  bool complete(const EntryPlace& place, const platform::Failure& failure);
  bool fail(const EntryPlace& place, const char* verb);
  void failOrGone(const EntryPlace& place, const char* verb);
  bool isOwned(const EntryPlace& place, const struct stat& facts) const;

  CopyShared& shared_;
  FileContents contents_;
};

}  // namespace copier
