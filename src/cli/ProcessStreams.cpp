#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "cli/Streams.h"

namespace cli {
namespace {

constexpr int kUsualWidth = 80;

std::string_view variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

int widthOfTerminal() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualWidth;
  return size.ws_col;
}

}  // namespace

Streams processStreams() {
  const auto terminal = variable("TERM");
  const bool capable = !terminal.empty() && terminal != "dumb";
  return {std::cin,
          std::cout,
          std::cerr,
          isatty(STDIN_FILENO) == 1,
          isatty(STDOUT_FILENO) == 1,
          isatty(STDERR_FILENO) == 1,
          capable,
          capable && variable("NO_COLOR").empty(),
          widthOfTerminal};
}

}  // namespace cli
