#include "platform/linux/DesktopEntry.h"

#include "platform/linux/KeyedText.h"

namespace platform {
namespace {

constexpr std::string_view kGroup = "[Desktop Entry]";

// The lines of the first group; entries for actions follow it and have keys of the same names.
std::string_view mainGroup(std::string_view text) {
  const auto start = text.find(kGroup);
  if (start == std::string_view::npos || (start > 0 && text[start - 1] != '\n')) return {};
  text.remove_prefix(start + kGroup.size());
  return text.substr(0, text.find("\n["));
}

std::string takeArgument(std::string_view& command) {
  std::string argument;
  bool quoted = false;
  command = withoutBlanks(command);
  while (!command.empty() && (quoted || (command.front() != ' ' && command.front() != '\t'))) {
    if (command.front() == '"') {
      quoted = !quoted;
    } else {
      if (command.front() == '\\' && quoted && command.size() > 1) command.remove_prefix(1);
      argument += command.front();
    }
    command.remove_prefix(1);
  }
  return argument;
}

bool isSetting(const std::string& argument) {
  const auto equals = argument.find('=');
  return equals != std::string::npos && argument.find('/') > equals;
}

bool isEnvironmentTool(const std::string& program) {
  return program == "env" || program == "/usr/bin/env" || program == "/bin/env";
}

}  // namespace

std::string programOfCommand(std::string_view command) {
  std::string program = takeArgument(command);
  if (!isEnvironmentTool(program)) return program;
  do program = takeArgument(command);
  while (isSetting(program) || program.starts_with('-'));
  return program;
}

std::optional<DesktopEntry> parseDesktopEntry(std::string_view text) {
  const auto group = mainGroup(text);
  const auto value = [&](std::string_view key) {
    return std::string(valueOfLine(group, key, '=').value_or(std::string_view()));
  };
  DesktopEntry entry{value("Name"), programOfCommand(value("Exec")), value("TryExec"),
                     value("Icon")};
  const std::string type = value("Type");
  if (entry.executable.empty() || value("Hidden") == "true") return std::nullopt;
  if (!type.empty() && type != "Application") return std::nullopt;
  return entry;
}

}  // namespace platform
