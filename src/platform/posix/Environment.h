#pragma once

#include <cstdlib>
#include <functional>
#include <optional>
#include <string>

namespace platform {

// Looks up an environment variable; one that is set to nothing counts as not set.
using Environment = std::function<std::optional<std::string>(const std::string& name)>;

// This process's. Not safe while another thread changes it; nothing of ours does.
inline Environment processEnvironment() {
  return [](const std::string& name) -> std::optional<std::string> {
    const char* value = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
    if (value == nullptr || *value == '\0') return std::nullopt;
    return value;
  };
}

}  // namespace platform
