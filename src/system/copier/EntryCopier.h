#pragma once

#include <sys/stat.h>

#include "system/copier/FileContents.h"
#include "system/copier/TakeOver.h"

namespace copier {

// Copies entries that are no folders, for one thread. Failures go to the tally. What cannot
// be read is copied from the earlier copy and is a failure all the same.
class EntryCopier {
 public:
  explicit EntryCopier(CopyShared& shared);

  void copy(const EntryPlace& place, EntryKind kind);

 private:
  void copyFromEarlier(const EntryPlace& place);
  template <class Make>
  void copyOnce(const EntryPlace& place, const struct stat& facts, Make make);
  bool linkTo(const LinkTable::Made& made, const EntryPlace& place, bool isFile);

  void copyFile(const EntryPlace& place);
  void copyOther(const EntryPlace& place);
  void copyOther(const EntryPlace& place, const struct stat& facts);
  bool makeFile(const EntryPlace& place, int from, const struct stat& facts);
  bool fillFile(const EntryPlace& place, int from, Descriptor to, const struct stat& facts);
  bool makeLink(const EntryPlace& place, const struct stat& facts);
  bool makePipe(const EntryPlace& place, const struct stat& facts);

  bool complete(const EntryPlace& place, const platform::Outcome& attributes);
  bool fail(const EntryPlace& place, const char* verb);
  bool failToRead(const EntryPlace& place, const char* verb);

  CopyShared& shared_;
  FileContents contents_;
  TakeOver takeOver_;
  bool unread_ = false;  // the entry at hand could not be read
};

}  // namespace copier
