#pragma once
// What a caller may ask for.

#include <cstdint>
#include <string_view>
#include <vector>

#include "disktools/Caller.h"
#include "disktools/Devices.h"
#include "disktools/Result.h"

namespace disktools {

// A name is one path component in valid UTF-8, without control characters.
Failure checkVolumeName(std::string_view name);

// Nobody gets a device larger than memory and swap. All devices of one user but root together get
// no more than the memory, and are no more than 64.
Failure checkSize(const Caller& caller, std::uint64_t sectors, const std::vector<Device>& devices);

}  // namespace disktools
