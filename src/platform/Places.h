#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/KindTable.h"

namespace platform {

// The external tools that the engine drives.
enum class Tool { Attacher, Formatter, DiskUtility, Mounter, Unmounter, Indexer, Purger };

// Where things lie on this platform. Paths are absolute and without a trailing slash. Any thread.
class Places {
 public:
  virtual ~Places() = default;

  // The tool's executable. Asked anew for every run.
  virtual std::string tool(Tool tool) const = 0;

  virtual std::optional<std::string> home() const = 0;

  // The user's own directories of each sort, the best last.
  virtual std::vector<std::string> applicationSupportDirectories() const = 0;
  virtual std::vector<std::string> cachesDirectories() const = 0;
  virtual std::string preferencesDirectory() const = 0;

  // "/Volumes" and "/Users" on macOS, what stands for them elsewhere.
  virtual std::string volumesDirectory() const = 0;
  virtual std::string usersDirectory() const = 0;

  // Nothing is mounted over these nor below them.
  virtual std::vector<std::string> protectedDirectories() const = 0;

  // Path prefixes, compared as text, of the user's settings and data, over which no plain disk is
  // mounted, and of those within them over which one may be.
  virtual std::vector<std::string> libraryPrefixes() const = 0;
  virtual std::vector<std::string> allowedLibraryPrefixes() const = 0;

  // Whether the mount table shows this type for a volume of ours.
  virtual bool isVolumeType(std::string_view type) const = 0;

  virtual KindTable kindTable() const = 0;
};

}  // namespace platform
