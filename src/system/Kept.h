#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <utility>

// An answer that is worked out on first use and kept for as long as the service it came from stays
// installed, which in a program is its whole life. Any thread; a race on first use only computes
// the answer twice. No lock is held while computing, so that computing may show an alert.
template <class T>
class Kept {
 public:
  template <class Compute>
  T get(const std::shared_ptr<void>& source, Compute compute) {
    if (std::optional<T> known = find(source)) return *std::move(known);
    T answer = compute();
    const std::lock_guard lock(mutex_);
    source_ = source;
    answer_ = answer;
    return answer;
  }

  void forget() {
    const std::lock_guard lock(mutex_);
    answer_.reset();
  }

 private:
  std::optional<T> find(const std::shared_ptr<void>& source) const {
    const std::lock_guard lock(mutex_);
    const bool same = !source_.owner_before(source) && !source.owner_before(source_);
    return same ? answer_ : std::nullopt;
  }

  mutable std::mutex mutex_;
  std::weak_ptr<void> source_;
  std::optional<T> answer_;
};
