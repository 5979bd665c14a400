#pragma once

#include <mutex>
#include <utility>

// A property that one thread may read while another writes it: each access is whole. Reading
// copies the value, so hold small ones or shared pointers.
template <class T>
class AtomicProperty {
 public:
  AtomicProperty() = default;
  explicit AtomicProperty(T value) : value_(std::move(value)) {}

  T get() const {
    const std::lock_guard lock(mutex_);
    return value_;
  }

  void set(T value) {
    const std::lock_guard lock(mutex_);
    value_ = std::move(value);
  }

 private:
  mutable std::mutex mutex_;
  T value_{};
};
