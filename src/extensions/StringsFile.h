#pragma once
// The strings-file form of a property list: a flat dictionary of texts, one entry to a line,
// "key" = "value"; as in localisation tables.

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace extensions {

// Accepts comments of both styles, unquoted words, a key alone (it stands for itself), the escapes
// of C, \Uxxxx in UTF-16 units and octal code points; UTF-8, or UTF-16 with a byte-order mark. Of a
// key given twice the last value counts. nullopt for anything else; an empty text has no entries.
std::optional<std::map<std::string, std::string>> parseStringsFile(std::string_view utf8);

// A line for each entry, in the order of the keys. Control characters are escaped.
std::string stringsFileText(const std::map<std::string, std::string>& entries);

}  // namespace extensions
