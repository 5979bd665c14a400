#pragma once

#include <cstdint>
#include <string_view>

namespace platform {

class SystemLog {
 public:
  virtual ~SystemLog() = default;

  // Writes one entry, which may hold line breaks. `severity` is QVLog's, 0 (diagnostic) to 5
  // (critical), for logs that keep a level of their own; the text already carries its label.
  // Any thread. Never fails: a log that cannot be written is dropped.
  virtual void write(std::int64_t severity, std::string_view text) = 0;
};

}  // namespace platform
