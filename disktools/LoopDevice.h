#pragma once

#include <string>

#include "disktools/Result.h"
#include "leaf/Descriptor.h"

namespace disktools {

// A loop block device over a file. The kernel frees the device by itself, and with it its hold on
// the file, once it is neither open nor mounted.
struct LoopDevice {
  Descriptor device;
  std::string path;  // "/dev/loopK"
};

Result<LoopDevice> attachLoop(const Descriptor& file);

}  // namespace disktools
