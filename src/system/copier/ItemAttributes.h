#pragma once

#include <sys/stat.h>

#include <string_view>

#include "platform/FileCopying.h"

namespace copier {

// Gives a copy what its original has besides contents: ownership where permitted, extended
// attributes and access list, then the mode, which a copy lacks until it is complete, and the times
// last. A copy of another owner or group loses the right to run as that one. All is tried; the
// first failure is returned.
class ItemAttributes {
 public:
  // `facts` are the original's. `owned`: the copy has its owner and group already.
  ItemAttributes(const platform::FileCopying& system, const struct stat& facts, bool owned)
      : system_(system), facts_(facts), owned_(owned) {}

  // Extended attributes whose names begin with `leftOut` are not given.
  platform::Failure give(int from, int to, std::string_view leftOut = {}) const;

  // For links and pipes, which are not opened.
  platform::Failure give(int fromFolder, const char* fromName, int toFolder,
                         const char* toName) const;

 private:
  mode_t modeFor(int copy) const;

  const platform::FileCopying& system_;
  const struct stat& facts_;
  bool owned_;
};

}  // namespace copier
