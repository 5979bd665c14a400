#include "platform/linux/AutostartEntry.h"

#include <algorithm>
#include <utility>

#include "platform/linux/ExecLine.h"
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

}  // namespace

AutostartEntry AutostartEntry::starting(const std::string& path) {
  AutostartEntry entry(std::string(kEntryGroup) + "\nType=Application\n");
  entry.set("Name", escapedValue(path.substr(path.rfind('/') + 1)));
  entry.start(path);
  return entry;
}

AutostartEntry::Range AutostartEntry::group() const {
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

std::optional<AutostartEntry::Range> AutostartEntry::line(std::string_view key) const {
  const Range lines = group();
  for (std::size_t at = lines.start; at < lines.end; at = endOfLine(text_, at) + 1) {
    const std::size_t end = endOfLine(text_, at);
    if (keyOf(std::string_view(text_).substr(at, end - at)) == key) return Range{at, end};
  }
  return std::nullopt;
}

std::optional<std::string> AutostartEntry::value(std::string_view key) const {
  const auto found = line(key);
  if (!found) return std::nullopt;
  const auto whole = std::string_view(text_).substr(found->start, found->end - found->start);
  return std::string(withoutBlanks(whole.substr(whole.find('=') + 1)));
}

// A new key goes before the empty lines at the end of the group.
void AutostartEntry::set(std::string_view key, std::string_view value) {
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

void AutostartEntry::remove(std::string_view key) {
  while (const auto found = line(key))
    text_.erase(found->start, std::min(found->end + 1, text_.size()) - found->start);
}

bool AutostartEntry::isHidden() const { return value("Hidden") == "true"; }

bool AutostartEntry::isApplication() const {
  return value("Type").value_or("Application") == "Application";
}

void AutostartEntry::start(const std::string& path) {
  if (programOfExec(value("Exec").value_or("")) != path) set("Exec", execOfProgram(path));
  set("TryExec", escapedValue(path));
  set("NoDisplay", "true");
  remove("Hidden");
}

}  // namespace platform
