#pragma once

#include <map>
#include <optional>
#include <string>

// Environment variables that a test makes up, to be asked as the real ones are. Empty is unset.
using Variables = std::map<std::string, std::string>;

inline auto environmentOf(Variables variables) {
  return [variables = std::move(variables)](const std::string& name) -> std::optional<std::string> {
    const auto found = variables.find(name);
    if (found == variables.end() || found->second.empty()) return std::nullopt;
    return found->second;
  };
}
