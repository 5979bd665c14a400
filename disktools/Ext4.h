#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "disktools/Result.h"

namespace disktools {

struct Ext4Format {
  std::uint64_t bytes = 0;
  std::string label;  // cut to the 16 bytes that the format has room for
  uid_t uid = 0;      // whom the root directory belongs to
  gid_t gid = 0;
};

// Makes an empty ext4 file system in a file that reads as zeros: no journal (its contents do not
// outlive the machine), no lost+found, nothing kept back for root. The layout is that of
// https://docs.kernel.org/filesystems/ext4/, made by libext2fs.
Failure formatExt4(int file, const Ext4Format& format);

}  // namespace disktools
