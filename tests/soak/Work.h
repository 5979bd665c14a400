#pragma once
// What programs do in a folder, done there and noted.

#include <string>

#include "tests/soak/Model.h"
#include "tests/soak/Plan.h"

namespace soak {

constexpr unsigned kFiles = 60;

// kFiles files of 0 bytes to 3 MB, most below 300 KB, in nested folders.
Tree firstTree(Random& random);

void writeTree(const Tree& tree, const std::string& folder);

// Rewrites files in place and by renaming, also with size and time put back, creates, deletes and
// renames some, and gives the tree as it is then. `stamp` is the last number that any version, file
// or new name was given.
Tree workIn(const std::string& folder, Tree tree, unsigned& stamp, Random& random);

// Every file below the folder with its bytes, but for those that volumes have at their root.
Found readTree(const std::string& folder);

}  // namespace soak
