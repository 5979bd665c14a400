#pragma once
// The registry's file: a property-list dictionary whose "RamDiskEntries" is a keyed archive of the
// records. Keys of others are kept when it is written.

#include <optional>
#include <string>
#include <vector>

#include "ramdisk/QVRamDisk.h"

struct RegistryContents {
  std::vector<QVRamDiskPtr> ramDisks;
  bool showInMenuBar = false;
  bool showInMenuBarAtLogin = false;
  // Whether the helper saves the mounted disks when the session ends. Written only when set, so
  // that a program that read the file before the switch was turned does not turn it back.
  std::optional<bool> saveAtSessionEnd{};
};

class RegistryFile {
 public:
  // The file in the application-support folder; nullopt when that folder cannot be had.
  static std::optional<std::string> defaultPath();

  explicit RegistryFile(std::string path) : path_(std::move(path)) {}

  // nullopt when there is no file, silently, and when it cannot be read, logged. With the second of
  // the two, isDamaged() answers YES.
  std::optional<RegistryContents> read();
  bool isDamaged() const { return damaged_; }

  // Replaces the file's own entries atomically. A present file of which something could not be read
  // is first copied beside itself, and is left alone when that fails. NO, logged, on failure.
  bool write(const RegistryContents& contents);

 private:
  std::optional<extensions::PropertyList::Dictionary> dictionary();
  std::optional<std::vector<QVRamDiskPtr>> unarchived(const extensions::PropertyList::Dictionary&);
  bool keepDamagedFile();

  std::string path_;
  bool damaged_ = false;
};
