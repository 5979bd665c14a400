#pragma once
// What a call of the seam gives back: a value, or the system's reason for having none.

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

// nullopt means that the call succeeded.
using Failure = std::optional<SystemError>;

template <class T>
class Result {
 public:
  Result(T value) : value_(std::move(value)) {}
  Result(SystemError error) : error_(std::move(error)) {}

  explicit operator bool() const { return value_.has_value(); }
  const T& operator*() const { return *value_; }
  T& operator*() { return *value_; }
  const T* operator->() const { return &*value_; }
  T* operator->() { return &*value_; }

  // Empty unless the call failed.
  const SystemError& error() const { return error_; }
  const std::optional<T>& value() const { return value_; }

 private:
  std::optional<T> value_;
  SystemError error_;
};

}  // namespace platform
