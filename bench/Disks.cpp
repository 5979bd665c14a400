#include "Disks.h"

#include <fmt/format.h>

#include <filesystem>

#include "Ground.h"

namespace bench {

MountedDisks::MountedDisks(const std::string& folder) {
  for (std::size_t i = 0; i < QVRamDiskEntries::kMostRamDisks; ++i) {
    const auto disk = entries_->addRamDisk();
    disk->setName(fmt::format("disk{}", i));
    disk->setMountDirectory(folder);
    disk->setSize(128'000'000);
    disk->setBackupMode(QVRamDiskBackupMode_AppSupport);
    std::filesystem::create_directories(folder + "/" + *disk->name());
    entries_->create(disk, 0);
    if (disk->status() != QVRamDiskStatus_mounted) giveUp(fmt::format("no disk {}", i));
  }
  entries_->writeRamDisksToDefaultLocation();
}

MountedDisks::~MountedDisks() {
  for (const auto& disk : entries_->ramDisks()) entries_->eject(disk, 0);
}

}  // namespace bench
