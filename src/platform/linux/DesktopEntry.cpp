// A file ".desktop" is lines "Key=value" in groups. What a value means takes two readings, one
// after the other, and writing takes them in reverse:
//
//   as it stands in the file      Exec="/opt/100%%\\\\a \\"b\\"" %U
//   as a string, like any value   "/opt/100%%\\a \"b\"" %U
//   as a command line             the program /opt/100%\a "b", and a code for what it is to open
//
// No shell has a part in it.
#include "platform/linux/DesktopEntry.h"

#include <algorithm>
#include <vector>

#include "platform/linux/KeyedText.h"

namespace platform {
namespace {

constexpr std::string_view kEntryGroup = "[Desktop Entry]";

std::size_t endOfLine(std::string_view text, std::size_t start) {
  return std::min(text.find('\n', start), text.size());
}

std::string_view keyOf(std::string_view line) {
  const auto split = line.find('=');
  if (split == line.npos || line.starts_with('#')) return {};
  return withoutBlanks(line.substr(0, split));
}

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

bool isEnvironmentTool(const std::string& program) {
  return program == "env" || program == "/usr/bin/env" || program == "/bin/env";
}

bool isForEnvironmentTool(const std::string& argument) {
  return argument.starts_with('-') ||
         argument.substr(0, argument.find('/')).find('=') != argument.npos;
}

}  // namespace

// --- The text

DesktopEntry::Range DesktopEntry::group() const {
  Range found{text_.size(), text_.size()};
  bool inside = false;
  for (std::size_t at = 0; at < text_.size(); at = endOfLine(text_, at) + 1) {
    const auto line = std::string_view(text_).substr(at, endOfLine(text_, at) - at);
    if (!line.starts_with('[')) continue;
    if (inside) return {found.start, at};
    inside = withoutBlanks(line) == kEntryGroup;
    if (inside) found.start = std::min(endOfLine(text_, at) + 1, text_.size());
  }
  return found;
}

std::optional<DesktopEntry::Range> DesktopEntry::line(std::string_view key) const {
  const Range lines = group();
  for (std::size_t at = lines.start; at < lines.end; at = endOfLine(text_, at) + 1) {
    const std::size_t end = endOfLine(text_, at);
    if (keyOf(std::string_view(text_).substr(at, end - at)) == key) return Range{at, end};
  }
  return std::nullopt;
}

std::optional<std::string> DesktopEntry::value(std::string_view key) const {
  const auto found = line(key);
  if (!found) return std::nullopt;
  const auto whole = std::string_view(text_).substr(found->start, found->end - found->start);
  return std::string(withoutBlanks(whole.substr(whole.find('=') + 1)));
}

// A new key goes before the empty lines at the end of the group.
void DesktopEntry::set(std::string_view key, std::string_view value) {
  const std::string made = std::string(key) + "=" + std::string(value);
  if (const auto found = line(key)) {
    text_.replace(found->start, found->end - found->start, made);
    return;
  }
  const Range lines = group();
  std::size_t at = lines.end;
  while (at > lines.start + 1 && text_[at - 1] == '\n' && text_[at - 2] == '\n') --at;
  const bool breaks = at > 0 && text_[at - 1] != '\n';
  text_.insert(at, (breaks ? "\n" : "") + made + "\n");
}

void DesktopEntry::remove(std::string_view key) {
  while (const auto found = line(key))
    text_.erase(found->start, std::min(found->end + 1, text_.size()) - found->start);
}

std::string DesktopEntry::string(std::string_view key) const {
  return unescapedValue(value(key).value_or(""));
}

std::optional<std::string> DesktopEntry::program() const {
  return programOfExec(value("Exec").value_or(""));
}

bool DesktopEntry::isHidden() const { return value("Hidden") == "true"; }

bool DesktopEntry::isApplication() const {
  return value("Type").value_or("Application") == "Application";
}

// --- Values

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
