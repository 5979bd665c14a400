#pragma once

#include <string>

#include "platform/Defaults.h"

namespace platform {

// User defaults kept in a property list file, read anew at each question so that a change shows at
// once. A file that is missing or damaged holds none. Any thread.
class FileDefaults : public Defaults {
 public:
  explicit FileDefaults(std::string path) : path_(std::move(path)) {}

  std::optional<std::string> string(std::string_view key) const override;
  std::optional<std::int64_t> integer(std::string_view key) const override;

 private:
  std::string path_;
};

}  // namespace platform
