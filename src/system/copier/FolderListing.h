#pragma once

#include <dirent.h>

#include <memory>
#include <optional>

#include "system/copier/NameList.h"

namespace copier {

// Reads the names of an open folder, which must not have been listed before. The descriptor stays
// the caller's.
class FolderListing {
 public:
  explicit FolderListing(int folder);

  // The next entry, without "." and ".."; nullopt at the end and after a failure. The name lives
  // until the next call.
  std::optional<NameList::Entry> next();

  // An errno value; 0 while nothing failed.
  int error() const { return error_; }

 private:
  struct Closer {
    void operator()(DIR* stream) const { closedir(stream); }
  };

  EntryKind kindOf(const dirent& entry) const;

  int folder_;
  int error_ = 0;
  std::unique_ptr<DIR, Closer> stream_;
};

}  // namespace copier
