#include "tests/soak/Model.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <span>

namespace soak {
namespace {

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

Verdict Model::judge(const Found& found, bool volumeWasLost) const {
  const States states = volumeWasLost ? States(states_) : States(states_).last(1);
  if (std::any_of(states.begin(), states.end(),
                  [&](const Tree& state) { return isExactly(found, state); }))
    return {};
  Verdict verdict;
  std::set<unsigned> there;
  for (const auto& [path, bytes] : found) {
    const auto files = filesAt(path, bytes, states);
    if (files.empty()) verdict.faults.push_back(fault(path, bytes, states));
    there.insert(files.begin(), files.end());
  }
  for (const auto& [path, content] : states.front())
    if (!there.contains(content.file) && !mayBeMissing(content.file, states))
      verdict.faults.push_back(fmt::format("lost: {} (file {})", path, content.file));
  verdict.mixed = verdict.faults.empty();
  return verdict;
}

}  // namespace soak
