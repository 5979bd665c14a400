#include "cli/Context.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "cli/Output.h"
#include "extensions/Text.h"

namespace cli {
namespace {

// The system's messages end with a point or not; in the middle of a line none does.
std::string withoutPoint(std::string text) {
  if (text.ends_with('.')) text.pop_back();
  return text;
}

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

void Context::writeProblem(std::string_view text) {
  const bool colored = streams.color && streams.errIsTerminal;
  streams.out.flush();
  streams.err << (colored ? "\x1b[31mtarnvale:\x1b[0m " : "tarnvale: ") << text << std::endl;
}

int Context::refuse(const Refusal& refusal) {
  std::string line = withoutPoint(printable(refusal.what));
  if (!refusal.todo.empty()) line += "; " + printable(refusal.todo);
  writeProblem(line);
  return refusal.status;
}

int Context::refuse(ExitStatus status, std::string what, std::string todo) {
  return refuse({status, std::move(what), std::move(todo)});
}

void Context::warn(std::string_view text) { writeProblem(printable(text)); }

void Context::say(std::string_view text) {
  if (!quiet) streams.out << text << std::endl;
}

platform::Result<void, int> Context::confirm(bool yes, std::string_view what) {
  if (yes) return {};
  if (!streams.inIsTerminal || !streams.errIsTerminal)
    return refuse(kWrongUsage, std::string(what) + " needs a confirmation", "add --yes");
  streams.err << printable(what) << "? [y/N] " << std::flush;
  std::string answer;
  std::getline(streams.in, answer);
  answer = extensions::trimmedWhitespaceAndNewlines(answer);
  if (answer == "y" || answer == "Y" || answer == "yes") return {};
  return refuse(kActionFailed, "nothing was changed");
}

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
