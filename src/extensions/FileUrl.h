#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace extensions {

// "file:///a%20b" for an absolute path "/a b". Bytes that are no plain letters of a URL are written
// as their numbers, whatever their encoding.
std::string fileUrl(std::string_view path);

// The absolute path of a file URL, also of one that names this machine ("localhost"); nullopt for
// any other URL, one of another machine, and one in which a number is damaged or 0.
std::optional<std::string> pathOfFileUrl(std::string_view url);

}  // namespace extensions
