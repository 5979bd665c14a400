#include "disktools/Result.h"

#include <cerrno>
#include <cstring>

namespace disktools {

Problem systemProblem(std::string what, std::string advice) {
  return {std::move(what), errno, std::move(advice)};
}

std::string text(const Problem& problem) {
  std::string line = problem.what;
  // The words that people who use these commands know.
  if (problem.error == EBUSY)
    line += ": Resource busy";
  else if (problem.error != 0)
    line.append(": ").append(std::strerror(problem.error));
  if (!problem.advice.empty()) line.append(" (").append(problem.advice).append(")");
  return line;
}

}  // namespace disktools
