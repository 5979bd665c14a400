#pragma once

#include <string>

namespace settings {

// "~" resolved: it stays where a shell did not replace it, as in --directory=~/x.
std::string expandedPath(const std::string& path);

// The path made absolute, and where the last component is a link, what that leads to.
std::string absolutePath(const std::string& path);

// The path as it is compared: links in it are followed as far as it exists.
std::string resolvedPath(const std::string& path);

// Whether a path is a folder or lies below it.
bool isWithin(const std::string& path, const std::string& folder);

}  // namespace settings
