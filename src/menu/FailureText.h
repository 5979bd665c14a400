#pragma once

#include <string>

#include "ramdisk/QVRamDisk.h"

namespace menu {

// A failed action for an alert with the disk's name: what happened, why, and what may help, each a
// line of its own as far as it is known.
std::string failureText(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action);

}  // namespace menu
