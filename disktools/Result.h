#pragma once
// How a step that can fail answers, and the texts in which the program speaks.

#include <cstdint>
#include <string>
#include <string_view>

#include "leaf/Result.h"

namespace disktools {

// Why a step failed, told to the caller as it stands.
struct Problem {
  std::string what;    // what could not be done and to which device or path
  int error = 0;       // errno, 0 when the system had no part in it
  std::string advice;  // what to do about it or what the kernel said, may be empty
};

template <class T>
using Result = leaf::Result<T, Problem>;
using Outcome = Result<void>;

// A problem with the errno of the call that just failed.
Problem systemProblem(std::string what, std::string advice = {});

// "cannot …: No space left on device (advice)", on one line but for what the kernel said.
std::string text(const Problem& problem);

// Whole megabytes, kilobytes for less than one: "512 MB".
std::string sizeText(std::uint64_t bytes);

// UTF-8 with every invalid byte, and every control character that XML has no place for, turned
// into U+FFFD.
std::string validText(std::string_view bytes);

}  // namespace disktools
