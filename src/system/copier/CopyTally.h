#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "system/TreeCopier.h"

namespace copier {

// Gathers which entries failed, by item and by path. Not safe for several threads.
class FailedEntries {
 public:
  // `path` is relative to the folder copied from. `missing`: the entry did not arrive, or not all
  // of it.
  void add(const std::string& path, const platform::SystemError& error, bool missing);
  void addSkipped(const std::string& path);

  // Fills in what the outcome says of them.
  void tell(CopyOutcome& outcome);

 private:
  // Whether there was room for it.
  bool addPath(std::vector<std::string>& paths, const std::string& path);

  std::optional<platform::SystemError> first_;
  std::map<std::string, platform::SystemError> items_;
  std::vector<std::string> paths_;
  std::vector<std::string> partly_;
  std::vector<std::string> skipped_;
  std::size_t pathBytes_ = 0;
  bool cut_ = false;
};

// What a copy has come to so far. Logs and gathers failures, and reports progress. Any
// thread.
class CopyTally {
 public:
  // Entries are named by their paths relative to the root, which itself is "". `item` is the root's
  // name when it is the one item, and empty when it is the folder that holds the items.
  CopyTally(const std::function<void(const CopyProgress&)>& progress, std::string root,
            std::string item);

  void addBytes(std::uint64_t count);
  void takeBackBytes(std::uint64_t count) { bytes_ -= count; }  // of a file that was not finished
  void addEntry();

  // A file that is as it was in the earlier copy; `sameInode`: under a second name.
  void addTakenOver(bool sameInode);

  // The entry did not arrive, or not all of it. `verb` names the call that failed, `code` is its
  // errno.
  void addFailure(std::string_view verb, const std::string& entry, int code);

  // It arrived, but some of what it has besides contents did not.
  void addFailure(const std::string& entry, const platform::SystemError& error);
  void addSkipped(std::string_view what, const std::string& entry);

  std::string pathOf(const std::string& entry) const;

  // Reports for the last time. Call it when all threads are done.
  CopyOutcome finish();

 private:
  using Clock = std::chrono::steady_clock;

  CopyProgress progressSoFar() const;
  void report();
  std::string entryOf(const std::string& entry) const;
  void countFailure(const std::string& entry, const platform::SystemError& error, bool missing);

  const std::function<void(const CopyProgress&)>& progress_;
  const std::string root_;
  const std::string item_;
  std::atomic<std::uint64_t> bytes_{0};
  std::atomic<std::uint64_t> entries_{0};
  std::atomic<std::uint64_t> failed_{0};
  std::atomic<std::uint64_t> skipped_{0};
  std::atomic<std::uint64_t> takenOver_{0};
  std::atomic<std::uint64_t> sharedInodes_{0};
  std::atomic<bool> full_{false};

  std::mutex reporting_;
  std::atomic<Clock::time_point> nextReport_;

  std::mutex mutex_;
  FailedEntries failures_;  // guarded by mutex_
};

}  // namespace copier
