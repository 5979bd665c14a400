#pragma once
// The one way in which a call says that it failed, in every room: what it gives back is false, and
// holds why.
//
//   const auto moved = files.move(from, to);
//   if (!moved) return moved.error();
//
// The seam's errors are the system's (SystemError); other rooms name their own. Beside this there
// is only QVError, the record that an action's failure leaves for the user.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace platform {

// An error of the operating system, as a value. `domain` says what `code` counts: "POSIX" for errno
// values, "Cocoa" or "OSStatus" for those of the macOS frameworks. `text` is for people and names
// the file or call concerned.
struct SystemError {
  std::string domain;
  std::int64_t code = 0;
  std::string text;

  bool operator==(const SystemError&) const = default;
};

// A value, or the reason for having none.
template <class T, class E = SystemError>
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

using Outcome = Result<void>;

}  // namespace platform
