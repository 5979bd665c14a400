#pragma once

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <string_view>

#include "platform/Result.h"

namespace platform {

// What systems do differently when one file becomes a copy of another. Works on open descriptors
// and on names relative to open directories, and never follows a link in the last name. Descriptors
// that it gives are the caller's and closed on exec. Any thread.
class FileCopying {
 public:
  virtual ~FileCopying() = default;

  // Open for reading without touching the access time, where the system grants that, and without
  // waiting for the other end of a pipe. -1 with errno set.
  virtual int openFile(int directory, const char* name) const = 0;
  virtual int openFolder(int directory, const char* name) const = 0;

  // Tells the mount that a directory lies on, so that a bind mount of the same file system is known
  // as another; 0 where the system does not number its mounts.
  virtual std::uint64_t mountNumber(int directory) const = 0;

  // Copies bytes to the same place of `to` inside the kernel, by sharing blocks where the file
  // system can, and gives how many it copied from `offset` on. When those are fewer than `length`
  // the file ends there or the kernel went no further: the caller copies what is left, and so
  // learns the reason.
  virtual std::uint64_t copyContents(int from, int to, std::uint64_t offset,
                                     std::uint64_t length) const = 0;

  // Makes a file, open to its owner only, that shares the blocks of an open one, and opens it, so
  // that it can be given attributes. -1 with errno set, and nothing is made: ENOTSUP when no file
  // of the one folder can ever share with one of the other.
  virtual int shareContents(int from, int toDirectory, const char* toName) const = 0;

  // Gives `to` the extended attributes and the access list of `from`, without those whose names
  // begin with `leftOut` unless that is empty. What the destination cannot
  // hold, or the user may not set, of attributes that are not the user's own is left out silently.
  // After a failure, which names the attribute, the others are set all the same.
  virtual Outcome copyAttributes(int from, int to, std::string_view leftOut) const = 0;

  // The same for what cannot be opened: symbolic links and pipes.
  virtual Outcome copyAttributes(int fromDirectory, const char* fromName, int toDirectory,
                                 const char* toName) const = 0;

  // Whether two open files have the same extended attributes and access lists; false as well where
  // that cannot be told.
  virtual bool sameAttributes(int a, int b) const = 0;

  // Of access and of modification, in the order in which they are set.
  virtual std::array<timespec, 2> times(const struct stat& facts) const = 0;
  virtual timespec changeTime(const struct stat& facts) const = 0;  // of the inode

  // false when what is made in the folder certainly gets no access list from it.
  virtual bool handsListsDown(int folder) const = 0;

  // Takes away what the folder above handed down: access lists of the item and for items made in
  // it.
  virtual void dropAccessLists(int item) const = 0;

  // A pipe with a name, open to its owner only. false with errno set.
  virtual bool makePipe(int directory, const char* name) const = 0;
};

}  // namespace platform
