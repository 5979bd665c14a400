#pragma once
// The one way in which a call says that it failed, in every room: what it gives back is false, and
// holds why.
//
//   const auto moved = files.move(from, to);
//   if (!moved) return moved.error();
//
// Each room names its own kind of reason.

#include <optional>
#include <utility>

namespace leaf {

// A value, or the reason for having none.
template <class T, class E>
class Result {
 public:
  Result(T value) : value_(std::move(value)) {}
  Result(E error) : error_(std::move(error)) {}

  explicit operator bool() const { return value_.has_value(); }
  const T& operator*() const { return *value_; }
  T& operator*() { return *value_; }
  const T* operator->() const { return &*value_; }
  T* operator->() { return &*value_; }

  // Empty unless the call failed.
  const E& error() const { return error_; }
  const std::optional<T>& value() const { return value_; }

 private:
  std::optional<T> value_;
  E error_;
};

// Of a call that gives no value: {} is success.
template <class E>
class Result<void, E> {
 public:
  Result() = default;
  Result(E error) : error_(std::move(error)) {}

  explicit operator bool() const { return !error_; }

  // Only after a failure.
  const E& error() const { return *error_; }

 private:
  std::optional<E> error_;
};

}  // namespace leaf
