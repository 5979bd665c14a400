#pragma once

#include <map>
#include <string>
#include <vector>

// What can be told of each item of a tree, by its path in it ("." for the root): kind, mode,
// owner, times, contents or target, blocks, attributes, and which other paths are links to it.
// Knows nothing of the copier and leaves access times alone.
using TreeFacts = std::map<std::string, std::string>;
TreeFacts factsOf(const std::string& root);

// The paths that differ, with both descriptions, for a test's message; empty for equal trees.
std::vector<std::string> differences(const TreeFacts& a, const TreeFacts& b);

// An access list in the kernel's form, that grants the running user and the mask these rights.
std::string accessListFor(unsigned rights);
