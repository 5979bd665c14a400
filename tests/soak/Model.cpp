#include "tests/soak/Model.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <span>

namespace soak {
namespace {

constexpr std::size_t kLineDigits = 7;

std::string firstLine(const Content& content) {
  return fmt::format("file {:05} version {:05} line {:0{}}\n", content.file, content.version, 0,
                     kLineDigits);
}

void countUp(char* lastDigit) {
  while (*lastDigit == '9') *lastDigit-- = '0';
  ++*lastDigit;
}

std::size_t equalBytes(std::string_view one, std::string_view other) {
  const auto [end, ignored] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
  return static_cast<std::size_t>(end - one.begin());
}

// What the bytes are, for a report: whose they are, and where they stop being that.
std::string describe(std::string_view bytes) {
  Content content{0, 0, bytes.size()};
  const std::string start(bytes.substr(0, firstLine(content).size()));
  if (std::sscanf(start.c_str(), "file %u version %u", &content.file, &content.version) != 2)
    return fmt::format("{} bytes that begin like no version of a file", bytes.size());
  const std::size_t whole = equalBytes(bytes, textOf(content));
  const auto name = fmt::format("file {} version {}", content.file, content.version);
  if (whole == bytes.size()) return fmt::format("{}, its first {} bytes", name, whole);
  return fmt::format("{} up to byte {} of {}, then something else", name, whole, bytes.size());
}

using States = std::span<const Tree>;

bool isWhole(const std::string& bytes, const Content& content) {
  return bytes.size() == content.size && bytes == textOf(content);
}

bool isExactly(const Found& found, const Tree& state) {
  return found.size() == state.size() &&
         std::all_of(found.begin(), found.end(), [&](const auto& item) {
           const auto content = state.find(item.first);
           return content != state.end() && isWhole(item.second, content->second);
         });
}

// The files whose place and version are right in one of the states.
std::set<unsigned> filesAt(const std::string& path, const std::string& bytes, States states) {
  std::set<unsigned> files;
  for (const Tree& state : states) {
    const auto content = state.find(path);
    if (content != state.end() && isWhole(bytes, content->second))
      files.insert(content->second.file);
  }
  return files;
}

std::string fault(const std::string& path, const std::string& bytes, States states) {
  std::string wanted;
  for (const Tree& state : states)
    if (const auto content = state.find(path); content != state.end())
      wanted += fmt::format(" [file {} version {}, {} bytes]", content->second.file,
                            content->second.version, content->second.size);
  if (wanted.empty()) return fmt::format("foreign: {} ({})", path, describe(bytes));
  return fmt::format("torn or old: {} is {}; acceptable:{}", path, describe(bytes), wanted);
}

// A file that was deleted in one of the states may be gone.
bool mayBeMissing(unsigned file, States states) {
  return std::any_of(states.begin(), states.end(), [&](const Tree& state) {
    return std::none_of(state.begin(), state.end(),
                        [&](const auto& item) { return item.second.file == file; });
  });
}

}  // namespace

std::string textOf(const Content& content) {
  std::string line = firstLine(content);
  std::string text;
  text.reserve(content.size + line.size());
  while (text.size() < content.size) {
    text += line;
    countUp(&line[line.size() - 2]);
  }
  text.resize(content.size);
  return text;
}

std::vector<std::string> Model::judge(const Found& found, bool volumeWasLost) const {
  const States states = volumeWasLost ? States(states_) : States(states_).last(1);
  if (std::any_of(states.begin(), states.end(),
                  [&](const Tree& state) { return isExactly(found, state); }))
    return {};
  std::vector<std::string> faults;
  std::set<unsigned> there;
  for (const auto& [path, bytes] : found) {
    const auto files = filesAt(path, bytes, states);
    if (files.empty()) faults.push_back(fault(path, bytes, states));
    there.insert(files.begin(), files.end());
  }
  for (const auto& [path, content] : states.front())
    if (!there.contains(content.file) && !mayBeMissing(content.file, states))
      faults.push_back(fmt::format("lost: {} (file {})", path, content.file));
  return faults;
}

}  // namespace soak
