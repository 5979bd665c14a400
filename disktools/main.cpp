#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "disktools/Commands.h"

namespace {

// Help needs no rights.
bool asksForHelp(const std::vector<std::string>& words) {
  return words.size() > 1 && words.back() == "--help";
}

int start(const std::vector<std::string>& words) {
  disktools::Caller caller;
  if (!asksForHelp(words)) {
    auto real = disktools::takePrivilege();
    if (!real) {
      std::cerr << "tarnvale-disktools: " << disktools::text(real.error()) << '\n';
      return disktools::kFailed;
    }
    caller = *real;
  }
  return disktools::runProgram(words, caller, std::cout, std::cerr);
}

}  // namespace

int main(int argc, char** argv) {
  disktools::prepareProcess();
  try {
    return start(std::vector<std::string>(argv, argv + argc));
  } catch (const std::exception& error) {
    std::cerr << "tarnvale-disktools: " << error.what() << '\n';
    return disktools::kFailed;
  }
}
