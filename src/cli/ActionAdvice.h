#pragma once

#include <string>

#include "ramdisk/Remedy.h"

namespace cli {

// The remedy as words and commands, empty for none.
std::string adviceFor(Remedy remedy, const QVRamDisk& disk);

}  // namespace cli
