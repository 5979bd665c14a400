#pragma once

#include <cstddef>
#include <memory>

#include "platform/FileCopying.h"

namespace copier {

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

}  // namespace copier
