#pragma once
// The one copier of trees: refill, restore, backup and synchronisation all use it.

#include <cstdint>
#include <functional>
#include <string>

#include "platform/Result.h"

struct CopyProgress {
  std::uint64_t bytes = 0;    // copied so far, of regular files
  std::uint64_t entries = 0;  // made so far
};

struct CopyOptions {
  // Called at most 20 times a second and once at the end, from any of the copier's threads but
  // never from two at once.
  std::function<void(const CopyProgress&)> progress;
  unsigned threads = 0;  // 0: as many as the machine serves well
};

struct CopyOutcome {
  CopyProgress copied;
  std::uint64_t failedEntries = 0;
  std::uint64_t skippedEntries = 0;  // sockets and devices, which are passed over
  platform::Failure firstError;

  bool complete() const { return failedEntries == 0; }
};

// Copies one item, a folder with all that is in it, to `to`, whose parent exists. Something already
// at `to` is a failure and stays as it is. Links are copied as links and never followed, no mount
// point below is entered. Kept: modes, times to the nanosecond, extended attributes and access
// lists, ownership where permitted, holes, hard links within the item. An entry that fails is
// logged and counted and the rest goes on. Blocks the caller; any thread.
CopyOutcome copyItemAtPath(const std::string& from, const std::string& to,
                           const CopyOptions& options = {});

// Gives `to` the mode, ownership, times and extended attributes of `from`, both directories.
platform::Failure copyDirectoryAttributes(const std::string& from, const std::string& to);
