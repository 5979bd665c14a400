#include "system/copier/CopyTally.h"

#include "core/QVLog.h"
#include "system/FunctionLog.h"

namespace copier {
namespace {

constexpr std::string_view kClass = "TreeCopier";
constexpr std::chrono::milliseconds kBetweenReports{50};

}  // namespace

CopyTally::CopyTally(const std::function<void(const CopyProgress&)>& progress)
    : progress_(progress), nextReport_(Clock::now() + kBetweenReports) {}

void CopyTally::addBytes(std::uint64_t count) {
  bytes_ += count;
  report();
}

void CopyTally::addEntry() {
  ++entries_;
  report();
}

void CopyTally::addFailure(std::string_view verb, const std::string& path, int code) {
  QVLogError(kClass, "{}==-1 path:{} errno:{} ({})", verb, path, code, errnoText(code));
  countFailure({"POSIX", code, path + ": " + errnoText(code)});
}

void CopyTally::addFailure(const std::string& path, const platform::SystemError& error) {
  QVLogError(kClass, "copyAttributes==NO path:{} error:{}", path, error.text);
  countFailure({error.domain, error.code, path + ": " + error.text});
}

void CopyTally::addSkipped(std::string_view what, const std::string& path) {
  QVLogWarning(kClass, "{} passed over, path:{}", what, path);
  ++skipped_;
}

void CopyTally::countFailure(const platform::SystemError& error) {
  ++failed_;
  const std::lock_guard lock(mutex_);
  if (!firstError_) firstError_ = error;
}

CopyProgress CopyTally::progressSoFar() const { return {bytes_, entries_}; }

// Whoever comes while another thread reports leaves it to that one.
void CopyTally::report() {
  if (!progress_) return;
  const auto now = Clock::now();
  if (now < nextReport_.load(std::memory_order_relaxed)) return;
  const std::unique_lock lock(reporting_, std::try_to_lock);
  if (!lock || now < nextReport_.load(std::memory_order_relaxed)) return;
  progress_(progressSoFar());
  nextReport_ = Clock::now() + kBetweenReports;
}

CopyOutcome CopyTally::finish() {
  if (progress_) progress_(progressSoFar());
  return {progressSoFar(), failed_, skipped_, firstError_};
}

}  // namespace copier
