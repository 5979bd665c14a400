#pragma once
// What is known of a disk from looking at it and acting on it, as against how it is configured.

#include <vector>

#include "ramdisk/QVRamDisk.h"

void takeOnState(QVRamDisk& record, const QVRamDisk& observed);

// The same for the record of that disk among others. One that is missing there is added when the
// disk has a device, because nothing else would know of its contents any more. A device belongs to
// the disk that was created last; what others remember of it is outdated.
void putState(std::vector<QVRamDiskPtr>& records, const QVRamDiskPtr& observed);
