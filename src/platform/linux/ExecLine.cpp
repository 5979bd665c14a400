#include "platform/linux/ExecLine.h"

#include <algorithm>
#include <vector>

namespace platform {
namespace {

constexpr std::string_view kQuotedEscapes = "\"`$\\";

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Takes one character off the line. "%%" is one percent; what field codes stand for is no part of a
// program's path.
void takeCharacter(std::string_view& line, std::string& argument) {
  const bool isCode = line.front() == '%' && line.size() > 1;
  if (!isCode || !isLetter(line[1])) argument += line.front();
  line.remove_prefix(isCode && (line[1] == '%' || isLetter(line[1])) ? 2 : 1);
}

// Takes a quoted part off the line, which begins behind its first quote. false without an end.
bool takeQuoted(std::string_view& line, std::string& argument) {
  while (!line.empty() && line.front() != '"') {
    const bool escapes = line.front() == '\\' && line.size() > 1 &&
                         kQuotedEscapes.find(line[1]) != std::string_view::npos;
    if (escapes) line.remove_prefix(1);
    takeCharacter(line, argument);
  }
  if (line.empty()) return false;
  line.remove_prefix(1);
  return true;
}

bool takeArgument(std::string_view& line, std::string& argument) {
  while (!line.empty() && !isBlank(line.front())) {
    if (line.front() != '"') {
      takeCharacter(line, argument);
      continue;
    }
    line.remove_prefix(1);
    if (!takeQuoted(line, argument)) return false;
  }
  return true;
}

std::optional<std::vector<std::string>> arguments(std::string_view line) {
  std::vector<std::string> found;
  while (true) {
    while (!line.empty() && isBlank(line.front())) line.remove_prefix(1);
    if (line.empty()) return found;
    if (!takeArgument(line, found.emplace_back())) return std::nullopt;
  }
}

bool isForEnvironmentTool(const std::string& argument) {
  return argument.starts_with('-') ||
         argument.substr(0, argument.find('/')).find('=') != argument.npos;
}

}  // namespace

std::string unescapedValue(std::string_view value) {
  constexpr std::string_view kLetters = "sntr";
  constexpr std::string_view kMeanings = " \n\t\r";
  std::string text;
  while (!value.empty()) {
    if (value.front() == '\\' && value.size() > 1) {
      const auto letter = kLetters.find(value[1]);
      if (letter != kLetters.npos || value[1] == '\\') value.remove_prefix(1);
      text += letter != kLetters.npos ? kMeanings[letter] : value.front();
    } else {
      text += value.front();
    }
    value.remove_prefix(1);
  }
  return text;
}

std::string escapedValue(std::string_view text) {
  std::string value;
  for (const char c : text) {
    if (c == '\\')
      value += "\\\\";
    else if (c == '\n')
      value += "\\n";
    else if (c == '\t')
      value += "\\t";
    else if (c == '\r')
      value += "\\r";
    else
      value += c;
  }
  return value;
}

std::optional<std::string> programOfExec(std::string_view value) {
  const auto all = arguments(unescapedValue(value));
  if (!all || all->empty()) return std::nullopt;
  auto program = all->begin();
  if (isEnvironmentTool(*program))
    program = std::find_if_not(program + 1, all->end(), isForEnvironmentTool);
  if (program == all->end() || program->empty()) return std::nullopt;
  return *program;
}

std::string execOfProgram(std::string_view path) {
  std::string quoted = "\"";
  for (const char c : path) {
    if (kQuotedEscapes.find(c) != std::string_view::npos) quoted += '\\';
    if (c == '%') quoted += '%';
    quoted += c;
  }
  return escapedValue(quoted + '"');
}

}  // namespace platform
