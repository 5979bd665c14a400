#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct QVDirectoryStatistics {
  std::uint64_t totalSize = 0;  // bytes, logical lengths of the regular files
  std::uint64_t fileCount = 0;
  std::uint64_t directoryCount = 0;  // without the root
  std::uint64_t symlinkCount = 0;    // never followed

  bool operator==(const QVDirectoryStatistics&) const = default;
};

// Both walkers: 0 done, -1 no path, -2 the directory cannot be opened, -3 no memory. Paths of any
// depth and length. Any thread.
std::int32_t GetDirectoryStatistics(const char* path, QVDirectoryStatistics* statistics);
std::int32_t DirectoryContainsAtLeastFile(const char* path);  // 1 when the tree holds a file

// The counters are added to; the caller zeroes them. `reserved` is ignored. NO for no path, for the
// root and for the folder of volumes, which are never walked.
bool QVGetDirectoryStatistics(QVDirectoryStatistics* statistics, std::int64_t reserved,
                              const std::optional<std::string>& path);
