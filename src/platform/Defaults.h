#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// User defaults: the running application's own, then those that hold for all applications.
class Defaults {
 public:
  virtual ~Defaults() = default;

  virtual std::optional<std::string> string(std::string_view key) const = 0;
  virtual std::optional<std::int64_t> integer(std::string_view key) const = 0;

  // Stores it in the running application's own defaults. false when they cannot be written.
  virtual bool setInteger(std::string_view /*key*/, std::int64_t /*value*/) { return false; }
};

}  // namespace platform
