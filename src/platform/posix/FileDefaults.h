#pragma once

#include <string>

#include "extensions/PropertyList.h"
#include "platform/Program.h"

namespace platform {

// User defaults kept in property list files, the application's own and then one that all share.
// They are read anew at each question, so that a change that any program makes shows at once. A
// file that is missing or damaged holds none. Any thread.
class FileDefaults : public Defaults {
 public:
  explicit FileDefaults(std::string path, std::string sharedPath = {})
      : path_(std::move(path)), sharedPath_(std::move(sharedPath)) {}

  std::optional<std::string> string(std::string_view key) const override;
  std::optional<std::int64_t> integer(std::string_view key) const override;
  // What else the file holds is kept; a damaged file is left alone.
  bool setInteger(std::string_view key, std::int64_t value) override;

 private:
  std::optional<extensions::PropertyList> value(std::string_view key) const;

  std::string path_;
  std::string sharedPath_;  // empty for none
};

}  // namespace platform
