#pragma once

#include "platform/FileCopying.h"

namespace platform {

// Linux: copy_file_range, else sendfile; FICLONE to share blocks; attributes one by one. Darwin:
// fcopyfile for attributes and access lists, fclonefileat to share blocks; contents go through the
// caller's buffer, as the kernel has nothing that copies a range between two files.
class PosixFileCopying : public FileCopying {
 public:
  int openFile(int directory, const char* name) const override;
  int openFolder(int directory, const char* name) const override;
  std::uint64_t mountNumber(int directory) const override;
  std::uint64_t copyContents(int from, int to, std::uint64_t offset,
                             std::uint64_t length) const override;
  int shareContents(int from, int toDirectory, const char* toName) const override;
  Outcome copyAttributes(int from, int to, std::string_view leftOut) const override;
  Outcome copyAttributes(int fromDirectory, const char* fromName, int toDirectory,
                         const char* toName) const override;
  bool sameAttributes(int a, int b) const override;
  std::array<timespec, 2> times(const struct stat& facts) const override;
  timespec changeTime(const struct stat& facts) const override;
  bool handsListsDown(int folder) const override;
  void dropAccessLists(int item) const override;
  bool makePipe(int directory, const char* name) const override;
};

}  // namespace platform
