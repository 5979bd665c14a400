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

// What a copy has come to so far. Logs each failure, keeps the first, and reports progress. Any
// thread.
class CopyTally {
 public:
  explicit CopyTally(const std::function<void(const CopyProgress&)>& progress);

  void addBytes(std::uint64_t count);
  void takeBackBytes(std::uint64_t count) { bytes_ -= count; }  // of a file that was not finished
  void addEntry();

  // `verb` names the call that failed, `code` is its errno.
  void addFailure(std::string_view verb, const std::string& path, int code);
  void addFailure(const std::string& path, const platform::SystemError& error);
  void addSkipped(std::string_view what, const std::string& path);

  // Reports for the last time. Call it when all threads are done.
  CopyOutcome finish();

 private:
  using Clock = std::chrono::steady_clock;

  CopyProgress progressSoFar() const;
  void report();
  void countFailure(const platform::SystemError& error);

  const std::function<void(const CopyProgress&)>& progress_;
  std::atomic<std::uint64_t> bytes_{0};
  std::atomic<std::uint64_t> entries_{0};
  std::atomic<std::uint64_t> failed_{0};
  std::atomic<std::uint64_t> skipped_{0};

  std::mutex reporting_;
  std::atomic<Clock::time_point> nextReport_;

  std::mutex mutex_;
  platform::Failure firstError_;  // guarded by mutex_
};

}  // namespace copier
