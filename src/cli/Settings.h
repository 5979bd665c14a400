#pragma once
// Settings from the command line into a record, and the checks before they are saved.

#include <optional>
#include <vector>

#include "cli/DiskOptions.h"
#include "cli/ExitStatus.h"
#include "ramdisk/QVRamDisk.h"

namespace cli {

// Takes the options over into a record that is saved only when nothing is refused. (Settings.cpp)
std::optional<Refusal> applyOptions(QVRamDisk& disk, const DiskOptions& options);

// Checks name, size and place of a disk as for its creation, but for a running application, and
// that no other of `all` has its place. (Validation.cpp)
std::optional<Refusal> validatePlace(const QVRamDisk& disk, const std::vector<QVRamDiskPtr>& all);
// Checks that the contents can be kept where the backup mode says. (Validation.cpp)
std::optional<Refusal> validateBackup(const QVRamDisk& disk);
// Checks all that the creation will check. (Validation.cpp)
std::optional<Refusal> validateCreation(const QVRamDisk& disk);

// The directory's own contents still lie aside, from a disk that was never ejected; what would lose
// their place is refused. (Validation.cpp)
std::optional<Refusal> refuseWhileBaseIsAside(const QVRamDisk& disk);

// The path made absolute, and where the last component is a link, what that leads to.
std::string absolutePath(const std::string& path);

}  // namespace cli
