#include "system/copier/CopyTally.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "core/QVLog.h"
#include "system/Errno.h"

namespace copier {
namespace {

constexpr std::size_t kMostPathBytes = 8 << 20;  // paths have no longest length
constexpr std::chrono::milliseconds kBetweenReports{50};

}  // namespace

void FailedEntries::add(const std::string& path, const platform::SystemError& error, bool missing) {
  if (!first_) first_ = error;
  items_.try_emplace(path.substr(0, path.find('/')), error);
  const bool listed = addPath(missing ? paths_ : partly_, path);
  cut_ = cut_ || (missing && !listed);
}

void FailedEntries::addSkipped(const std::string& path) {
  if (!addPath(skipped_, path)) cut_ = true;
}

bool FailedEntries::addPath(std::vector<std::string>& paths, const std::string& path) {
  const bool room =
      paths.size() < CopyOutcome::kMostFailedPaths && pathBytes_ + path.size() <= kMostPathBytes;
  if (!room) return false;
  pathBytes_ += path.size();
  paths.push_back(path);
  return true;
}

void FailedEntries::tell(CopyOutcome& outcome) {
  for (auto* paths : {&paths_, &partly_, &skipped_}) {
    std::sort(paths->begin(), paths->end());
    paths->erase(std::unique(paths->begin(), paths->end()), paths->end());
  }
  outcome.firstError = first_;
  outcome.failedItems = std::move(items_);
  outcome.failedPaths = std::move(paths_);
  outcome.partlyCopied = std::move(partly_);
  outcome.skippedPaths = std::move(skipped_);
  outcome.failedPathsCut = cut_;
}

CopyTally::CopyTally(const std::function<void(const CopyProgress&)>& progress, std::string root,
                     std::string item)
    : progress_(progress),
      root_(std::move(root)),
      item_(std::move(item)),
      nextReport_(Clock::now() + kBetweenReports) {}

void CopyTally::addBytes(std::uint64_t count) {
  bytes_ += count;
  report();
}

void CopyTally::addEntry() {
  ++entries_;
  report();
}

void CopyTally::addTakenOver(bool sameInode) {
  ++takenOver_;
  if (sameInode) ++sharedInodes_;
}

void CopyTally::addFailure(std::string_view verb, const std::string& entry, int code) {
  const std::string path = pathOf(entry);
  QVLogError("TreeCopier", "{}==-1 path:{} errno:{} ({})", verb, path, code, errnoText(code));
  if (code == ENOSPC || code == EDQUOT) full_ = true;
  countFailure(entry, errnoError(code, path), true);
}

void CopyTally::addFailure(const std::string& entry, const platform::SystemError& error) {
  const std::string path = pathOf(entry);
  QVLogError("TreeCopier", "copyAttributes==NO path:{} error:{}", path, error.text);
  countFailure(entry, {error.domain, error.code, path + ": " + error.text}, false);
}

void CopyTally::addSkipped(std::string_view what, const std::string& entry) {
  QVLogWarning("TreeCopier", "{} passed over, path:{}", what, pathOf(entry));
  ++skipped_;
  const std::lock_guard lock(mutex_);
  failures_.addSkipped(entryOf(entry));
}

std::string CopyTally::pathOf(const std::string& entry) const {
  return entry.empty() ? root_ : root_ + (root_.ends_with('/') ? "" : "/") + entry;
}

void CopyTally::countFailure(const std::string& entry, const platform::SystemError& error,
                             bool missing) {
  ++failed_;
  const std::lock_guard lock(mutex_);
  failures_.add(entryOf(entry), error, missing);
}

// Relative to the folder copied from.
std::string CopyTally::entryOf(const std::string& entry) const {
  const bool inItem = !item_.empty() && !entry.empty();
  return inItem ? item_ + "/" + entry : item_ + entry;
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
  CopyOutcome outcome;
  outcome.copied = progressSoFar();
  outcome.failedEntries = failed_;
  outcome.skippedEntries = skipped_;
  outcome.takenOver = takenOver_;
  outcome.sharedInodes = sharedInodes_;
  outcome.destinationFull = full_;
  failures_.tell(outcome);
  return outcome;
}

}  // namespace copier
