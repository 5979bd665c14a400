#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

// What the running program knows of itself: its identity and the resources it was shipped with.
// Any thread.
class Bundle {
 public:
  virtual ~Bundle() = default;

  // Reverse-DNS identifier of the running program.
  virtual std::string identifier() const = 0;
  virtual std::string executablePath() const = 0;

  // An entry of the information dictionary, such as "CFBundleShortVersionString".
  virtual std::optional<std::string> information(std::string_view key) const = 0;

  // The text for `key` in a strings table in the user's language; an empty table name means the
  // default one, "Localizable". A missing key or table gives the key itself.
  virtual std::string localizedString(std::string_view key, std::string_view table = {}) const = 0;
};

}  // namespace platform
