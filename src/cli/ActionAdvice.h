#pragma once

#include <string>

#include "ramdisk/QVRamDisk.h"

namespace cli {

// What may help after a failed action, empty where nothing general can be said.
std::string adviceFor(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action);

}  // namespace cli
