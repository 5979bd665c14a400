#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <memory>
#include <span>

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

}  // namespace copier
