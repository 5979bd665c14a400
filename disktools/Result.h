#pragma once
// How a step that can fail answers: a value or a Problem that is told to the caller as it stands.

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace disktools {

struct Problem {
  std::string what;    // what could not be done and to which device or path
  int error = 0;       // errno, 0 when the system had no part in it
  std::string advice;  // what to do about it or what the kernel said, may be empty
};

using Failure = std::optional<Problem>;

template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::move(value)) {}            // NOLINT(google-explicit-constructor)
  Result(Problem problem) : state_(std::move(problem)) {}  // NOLINT(google-explicit-constructor)

  explicit operator bool() const { return state_.index() == 0; }
  T& operator*() { return *std::get_if<0>(&state_); }
  T* operator->() { return std::get_if<0>(&state_); }
  const Problem& problem() const { return *std::get_if<1>(&state_); }

 private:
  std::variant<T, Problem> state_;
};

// A problem with the errno of the call that just failed.
Problem systemProblem(std::string what, std::string advice = {});

// "cannot …: No space left on device (advice)", on one line but for what the kernel said.
std::string text(const Problem& problem);

}  // namespace disktools
