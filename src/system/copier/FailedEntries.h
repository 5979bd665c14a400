#pragma once

#include <string>

#include "system/TreeCopier.h"

namespace copier {

// Gathers which entries failed, by item and by path. Not safe for several threads.
class FailedEntries {
 public:
  // `path` is relative to the folder copied from. `missing`: the entry did not arrive, or not all
  // of it.
  void add(const std::string& path, const platform::SystemError& error, bool missing);

  // Fills in what the outcome says of them.
  void tell(CopyOutcome& outcome);

 private:
  void addPath(const std::string& path);

  platform::Failure first_;
  std::map<std::string, platform::SystemError> items_;
  std::vector<std::string> paths_;
  std::size_t pathBytes_ = 0;
  bool cut_ = false;
};

}  // namespace copier
