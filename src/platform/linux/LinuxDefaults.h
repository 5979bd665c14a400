#pragma once

#include <memory>
#include <string>

#include "platform/posix/FileDefaults.h"

namespace platform {

// The user defaults of a file, and beneath them the desktop's setting for what the file does not
// say: "AppleInterfaceStyle" is "Dark" where the user prefers a dark desktop. Nobody is asked
// before that key is. Any thread.
class LinuxDefaults : public Defaults {
 public:
  LinuxDefaults(FileDefaults file, std::string sessionBus);
  ~LinuxDefaults() override;

  std::optional<std::string> string(std::string_view key) const override;
  std::optional<std::int64_t> integer(std::string_view key) const override;
  bool setInteger(std::string_view key, std::int64_t value) override {
    return file_.setInteger(key, value);
  }

 private:
  class ColorScheme;

  FileDefaults file_;
  const std::unique_ptr<ColorScheme> colorScheme_;
};

}  // namespace platform
