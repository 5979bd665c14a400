#pragma once
// Names that the disk tools give their devices and by which the engine knows them in the mount
// table.

#include <optional>
#include <string>
#include <string_view>

// The tools' own folder. Below it lie the mounts that keep the devices and are nobody's to see.
inline constexpr const char* kDeviceFolder = "/run/tarnvale";

bool liesInDeviceFolder(std::string_view path);

// The file in memory behind a device that is a block device, by the device's number. It never has a
// name in a folder; what tells it is the kernel's word on the loop device's backing file.
std::string backingFileName(unsigned number);

// "/dev/disk4" for "/memfd:tarnvale-disk4 (deleted)", the kernel's word.
std::optional<std::string> nodeOfBackingFile(std::string_view shown);
