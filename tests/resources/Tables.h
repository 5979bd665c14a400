#pragma once
// The strings tables as they are shipped.

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <vector>

#include "extensions/StringsFile.h"
#include "tests/support/Scratch.h"

inline const std::filesystem::path kSourceTree = TARNVALE_SOURCE;
inline const auto kResources = kSourceTree / "resources";

inline const std::set<std::string> kLanguages = {"de", "en", "es", "fr", "ja"};
inline const std::set<std::string> kTables = {"Localizable", "QVFunctions", "QVRamDiskLocalizable"};

using Texts = std::map<std::string, std::string>;

inline std::string tableFile(const std::string& language, const std::string& table) {
  return kResources / (language + ".lproj") / (table + ".strings");
}

inline Texts textsOf(const std::string& language, const std::string& table) {
  return extensions::parseStringsFile(readFile(tableFile(language, table))).value_or(Texts());
}

inline std::vector<std::string> matches(const std::string& text, const std::regex& pattern,
                                        int group = 0) {
  const std::sregex_token_iterator first(text.begin(), text.end(), pattern, group);
  return std::vector<std::string>(first, std::sregex_token_iterator());
}
