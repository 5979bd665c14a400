#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace copier {

// The listed entries that an original lacks, as a tree of their names, so that a walk can go down
// it in step. Read by any thread.
class LackingEntries {
 public:
  using Place = std::uint32_t;  // an entry on the way to a listed one, or a listed one
  static constexpr Place kNone = 0;
  static constexpr Place kRoot = 1;

  // Relative paths, "a/b/c".
  explicit LackingEntries(const std::vector<std::string>& paths);

  Place find(Place above, std::string_view name) const;
  bool isListed(Place place) const { return nodes_[place].listed; }

  // The listed entries directly in it.
  std::vector<std::string> listedIn(Place place) const;

 private:
  struct Node {
    std::map<std::string, Place, std::less<>> below;
    bool listed = false;
  };

  void add(std::string_view path);
  Place findOrAdd(Place above, std::string_view name);

  std::vector<Node> nodes_;  // by place; in one row, as they may lie deep
};

}  // namespace copier
