#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

#include "platform/FileCopying.h"
#include "system/copier/CopyTally.h"

namespace copier {

// One thread's way of copying what is in a file: long stretches inside the kernel, short ones
// through a buffer of its own.
class FileContents {
 public:
  FileContents(const platform::FileCopying& kernel, CopyTally& tally);

  // Copies what `from` held when `facts` was asked for into the new, empty file `to`; holes stay
  // holes. A file that became shorter since ends where it ends now. false with errno set.
  bool copy(int from, int to, const struct stat& facts);

  // Whether it was the reading that failed in the last copy().
  bool readFailed() const { return readFailed_; }

  // How much the last copy() brought over, whether it failed or not.
  std::uint64_t copiedBytes() const { return copied_; }

 private:
  bool copyWithHoles(off_t size);
  bool copyRange(off_t at, off_t end);
  off_t copyInKernel(off_t at, off_t end);
  bool copyThroughBuffer(off_t at, off_t end);
  bool write(off_t at, std::span<const std::byte> bytes);
  void count(std::uint64_t bytes);

  const platform::FileCopying& kernel_;
  CopyTally& tally_;
  const std::unique_ptr<std::byte[]> buffer_;
  int from_ = -1;
  int to_ = -1;
  std::uint64_t copied_ = 0;
  bool readFailed_ = false;
};

// One thread's way of telling whether two open files hold the same.
class FileComparison {
 public:
  explicit FileComparison(const platform::FileCopying& system) : system_(system) {}

  // Contents, extended attributes and access lists; false as well for what cannot be read.
  bool same(int a, int b);

 private:
  bool sameContents(int a, int b);
  std::size_t read(int file, off_t at, std::byte* into) const;

  const platform::FileCopying& system_;
  std::unique_ptr<std::byte[]> buffer_;  // for both; made when it is needed
};

// Gives a copy what its original has besides contents: ownership where permitted, extended
// attributes and access list, then the mode, which a copy lacks until it is complete, and the times
// last. A copy of another owner or group loses the right to run as that one. All is tried; the
// first failure is returned.
class ItemAttributes {
 public:
  // `facts` are the original's. `owned`: the copy has its owner and group already.
  ItemAttributes(const platform::FileCopying& system, const struct stat& facts, bool owned)
      : system_(system), facts_(facts), owned_(owned) {}

  // Extended attributes whose names begin with `leftOut` are not given.
  platform::Outcome give(int from, int to, std::string_view leftOut = {}) const;

  // For links and pipes, which are not opened.
  platform::Outcome give(int fromFolder, const char* fromName, int toFolder,
                         const char* toName) const;

 private:
  mode_t modeFor(int copy) const;

  const platform::FileCopying& system_;
  const struct stat& facts_;
  bool owned_;
};

}  // namespace copier
