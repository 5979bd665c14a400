#pragma once
// What the running program has of its own: its identity and resources, its defaults, its log.

#include <cstdint>
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

// User defaults: the running application's own, then those that hold for all applications. A value
// of another type than the one asked for is none. Any thread.
class Defaults {
 public:
  virtual ~Defaults() = default;

  virtual std::optional<std::string> string(std::string_view key) const = 0;
  virtual std::optional<std::int64_t> integer(std::string_view key) const = 0;

  // Stores it in the running application's own defaults and leaves their other values. false when
  // they cannot be written, and are as before.
  virtual bool setInteger(std::string_view /*key*/, std::int64_t /*value*/) { return false; }
};

class SystemLog {
 public:
  virtual ~SystemLog() = default;

  // Writes one entry, which may hold line breaks. `severity` is QVLog's, 0 (diagnostic) to 5
  // (critical), for logs that keep a level of their own; the text already carries its label.
  // Any thread. Never fails: a log that cannot be written is dropped.
  virtual void write(std::int64_t severity, std::string_view text) = 0;
};

}  // namespace platform
