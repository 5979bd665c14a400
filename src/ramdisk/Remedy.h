#pragma once

#include "core/Trouble.h"
#include "ramdisk/QVRamDisk.h"

// What may help after a failed action, None where nothing general can be said. The facts are the
// disk's name and where its base lies aside.
Hindrance remedyFor(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action);
