#include "system/copier/FailedEntries.h"

#include <algorithm>
#include <utility>

namespace copier {
namespace {

constexpr std::size_t kMostPathBytes = 8 << 20;  // paths have no longest length

}  // namespace

void FailedEntries::add(const std::string& path, const platform::SystemError& error, bool missing) {
  if (!first_) first_ = error;
  items_.try_emplace(path.substr(0, path.find('/')), error);
  if (missing) addPath(path);
}

void FailedEntries::addPath(const std::string& path) {
  const bool room =
      paths_.size() < CopyOutcome::kMostFailedPaths && pathBytes_ + path.size() <= kMostPathBytes;
  if (!room) {
    cut_ = true;
    return;
  }
  pathBytes_ += path.size();
  paths_.push_back(path);
}

void FailedEntries::tell(CopyOutcome& outcome) {
  std::sort(paths_.begin(), paths_.end());
  paths_.erase(std::unique(paths_.begin(), paths_.end()), paths_.end());
  outcome.firstError = first_;
  outcome.failedItems = std::move(items_);
  outcome.failedPaths = std::move(paths_);
  outcome.failedPathsCut = cut_;
}

}  // namespace copier
