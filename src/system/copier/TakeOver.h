#pragma once

#include <sys/stat.h>

#include "system/copier/EntryPlace.h"
#include "system/copier/FileComparison.h"

namespace copier {

// Takes files over from an earlier copy instead of copying them, for one thread. What cannot be
// taken over is left to be copied, without a failure.
class TakeOver {
 public:
  explicit TakeOver(CopyShared& shared) : shared_(shared), comparison_(shared.system) {}

  // A file without further links that did not change. It is not opened unless it is to be compared
  // or to share blocks.
  bool take(const EntryPlace& place);

  // One with further links, which must not become the same file as its earlier copy: as a file of
  // its own that shares blocks.
  bool share(const EntryPlace& place, const struct stat& original);

 private:
  bool takeUnchanged(const EntryPlace& place, const struct stat& original);
  bool isUnchanged(const EntryPlace& place, const struct stat& original, struct stat& copy);
  bool isSame(const EntryPlace& place);
  bool shareBlocks(const EntryPlace& place, const NamedEntry& from, const struct stat& original);
  bool link(const EntryPlace& place, const NamedEntry& from, const struct stat& copy);

  CopyShared& shared_;
  FileComparison comparison_;
};

}  // namespace copier
