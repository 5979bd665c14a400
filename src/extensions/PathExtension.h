#pragma once
// Paths as texts, by the rules of NSString, and as file URLs: nothing is looked up in the file
// system. Results have no doubled slashes and, but for "/", none at the end; a path from a URL is
// as it stands there.

#include <optional>
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

// "file:///a%20b" for an absolute path "/a b". Bytes that are no plain letters of a URL are written
// as their numbers, whatever their encoding.
std::string fileUrl(std::string_view path);

// The absolute path of a file URL, also of one that names this machine ("localhost"); nullopt for
// any other URL, one of another machine, and one in which a number is damaged or 0.
std::optional<std::string> pathOfFileUrl(std::string_view url);

}  // namespace extensions
