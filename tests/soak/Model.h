#pragma once
// What the disk's contents must be after whatever happened to it.

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace soak {

// One version of one file. The file keeps its number when it is renamed.
struct Content {
  unsigned file = 0;
  unsigned version = 0;
  std::size_t size = 0;  // bytes

  bool operator==(const Content&) const = default;
};

// Lines of equal length that name the file, the version and themselves, cut at the size, so that
// no piece of one version can stand in for a piece of another.
std::string textOf(const Content& content);

using Tree = std::map<std::string, Content>;       // by path below the disk's folder
using Found = std::map<std::string, std::string>;  // bytes by path

class Model {
 public:
  explicit Model(Tree tree) : states_{std::move(tree)} {}

  const Tree& current() const { return states_.back(); }

  // The tree was changed to this.
  void became(Tree tree) { states_.push_back(std::move(tree)); }

  // What is on the volume was saved to the end: no older state is good enough any more.
  void saved() { states_.erase(states_.begin(), states_.end() - 1); }

  // Holds what was found against the newest state, or, where the volume was lost, against each
  // state since the last save that ended. Gives a sentence for each fault.
  std::vector<std::string> judge(const Found& found, bool volumeWasLost) const;

 private:
  std::vector<Tree> states_;  // since the last save that ended; never empty
};

}  // namespace soak
