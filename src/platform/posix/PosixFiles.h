#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Files.h"

namespace platform {

// Files on what Darwin and Linux share. Holds nothing; errors have the domain "POSIX".
class PosixFiles : public Files {
 public:
  FileKind kind(const std::string& path) const override;
  bool isWritable(const std::string& path) const override;
  bool isExecutable(const std::string& path) const override;
  // Never what a volume is mounted on.
  bool isDeletable(const std::string& path) const override;
  Result<std::vector<std::string>> names(const std::string& directory) const override;
  Result<FileTimes> times(const std::string& path) const override;
  Outcome remove(const std::string& path) override;
  Outcome exchange(const std::string& one, const std::string& other) override;
  Outcome removeEmpty(const std::string& directory) override;
  Outcome move(const std::string& from, const std::string& to) override;
  Outcome createDirectories(const std::string& path) override;
  Result<std::string> contents(const std::string& path) const override;
  Outcome replaceContents(const std::string& path, std::string_view bytes) override;
  Result<std::shared_ptr<FileLock>> lock(const std::string& path) override;
  Outcome flush(const std::string& folder) override;
  Outcome flushNames(const std::string& folder) override;
};

// What move() does on file systems whose rename cannot be told not to replace: the new name is
// taken first, by a hard link, or by an empty directory that the rename may replace.
Outcome moveInSteps(const std::string& from, const std::string& to);

}  // namespace platform
