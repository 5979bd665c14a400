#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Result.h"

namespace platform {

enum class FileKind { Missing, Directory, Other };

struct FileTimes {
  std::int64_t created = 0;  // whole seconds since 1970; 0 where the file system keeps none
  std::int64_t modified = 0;
};

// A file that is held locked, until the object goes or the program ends.
class FileLock {
 public:
  virtual ~FileLock() = default;

  // Makes this the file's contents, for who finds it locked; they go with the lock, but stay where
  // the program is killed. What cannot be written is dropped.
  virtual void note(std::string_view text) = 0;
};

// Whole items of the file system, by absolute path. Errors name the path. Any thread.
class Files {
 public:
  virtual ~Files() = default;

  // What is at the path, links followed; a dangling link counts as missing.
  virtual FileKind kind(const std::string& path) const = 0;
  bool exists(const std::string& path) const { return kind(path) != FileKind::Missing; }
  virtual bool isWritable(const std::string& path) const = 0;
  virtual bool isExecutable(const std::string& path) const = 0;
  // Whether the user may take the item itself out of its folder; what is in it is not looked at.
  virtual bool isDeletable(const std::string& path) const = 0;

  // The names in a directory, hidden ones included, "." and ".." not, in no particular order.
  virtual Result<std::vector<std::string>> names(const std::string& directory) const = 0;
  virtual Result<FileTimes> times(const std::string& path) const = 0;

  // Removes the item, a directory with everything in it. Links are removed, not followed, and no
  // mount point is crossed: one found below fails the call. Stops at the first failure; what went
  // until then stays gone.
  virtual Outcome remove(const std::string& path) = 0;

  // Renames within one file system. Something already at `to` is a failure, never replaced. After
  // any failure both are as they were.
  virtual Outcome move(const std::string& from, const std::string& to) = 0;

  // The two change places in one step, so that nobody ever finds either missing. ENOTSUP where the
  // file system cannot do it; nothing was changed then, as after any failure.
  virtual Outcome exchange(const std::string& one, const std::string& other) = 0;

  // Takes away a directory that holds nothing, and only such a one.
  virtual Outcome removeEmpty(const std::string& directory) = 0;

  // Makes the directory and those above it that are missing. An existing directory is a success.
  // After a failure those that were made stay.
  virtual Outcome createDirectories(const std::string& path) = 0;

  virtual Result<std::string> contents(const std::string& path) const = 0;

  // Replaces the file's contents atomically and durably: written beside, flushed, renamed; what a
  // link leads to, not the link. An existing file keeps its mode; a new one is readable by its
  // owner only. After a failure the former contents are there, or, where only the name could not be
  // flushed, the new ones; never a part of either.
  virtual Outcome replaceContents(const std::string& path, std::string_view bytes) = 0;

  // Keeps others, in this program and in others, from holding the same file locked. Makes the file
  // and leaves it. EWOULDBLOCK while somebody holds it.
  virtual Result<std::shared_ptr<FileLock>> lock(const std::string& path) = 0;

  // Waits until all that was written to the file system that holds the folder is on its device.
  virtual Outcome flush(const std::string& folder) = 0;

  // Waits until the names in the folder are on its device.
  virtual Outcome flushNames(const std::string& folder) = 0;
};

}  // namespace platform
