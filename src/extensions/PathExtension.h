#pragma once
// Paths as texts, by the rules of NSString: nothing is looked up in the file system. Results have
// no doubled slashes and, but for "/", none at the end.

#include <string>
#include <string_view>

namespace extensions {

// One slash between the two; an empty path gives the component alone.
std::string appendingPathComponent(std::string_view path, std::string_view component);
// Nothing is appended to "", to "/" or by an empty extension.
std::string appendingPathExtension(std::string_view path, std::string_view extension);
std::string lastPathComponent(std::string_view path);          // "/" of "/"
std::string deletingLastPathComponent(std::string_view path);  // "/" of "/a", "" of "a"

// Changes only what is the home folder or inside it, resp. begins with "~" alone: the homes of
// other people ("~name") are left as they are. An empty home, and for abbreviating "/", change
// nothing.
std::string abbreviatingWithTilde(std::string_view path, std::string_view home);
std::string expandingTilde(std::string_view path, std::string_view home);

}  // namespace extensions
