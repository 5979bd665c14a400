#pragma once
// The registry's file: a property-list dictionary whose "RamDiskEntries" is a keyed archive of the
// records. Keys of others are kept when it is written.

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "extensions/PropertyList.h"
#include "ramdisk/QVRamDisk.h"
#include "ramdisk/RegistryLock.h"

struct RegistryContents {
  std::vector<QVRamDiskPtr> ramDisks;
  bool showInMenuBar = false;
  bool showInMenuBarAtLogin = false;
  // Whether the helper saves the mounted disks when the session ends. Left out of the file until
  // somebody says so.
  std::optional<bool> saveAtSessionEnd{};
};

// Why the file is not changed.
struct RegistryFailure {
  enum class Reason {
    NoFolder,    // the application-support folder cannot be had
    Busy,        // another program is changing the file and does not come to an end
    Unwritable,  // the file, or the lock beside it
  };
  Reason reason = Reason::NoFolder;
  std::string path{};  // what to look at: the file, for Busy the lock that the other holds
  std::string text{};  // the system's words with the path concerned, where it said something
};

class RegistryFile {
 public:
  // Changes the contents, which are nullopt when there is no file or it cannot be read, and leaves
  // some there. NO leaves the file as it is.
  using Edit = std::function<bool(std::optional<RegistryContents>&)>;

  // The file in the application-support folder; nullopt when that folder cannot be had.
  static std::optional<std::string> defaultPath();

  explicit RegistryFile(std::string path) : path_(std::move(path)) {}

  // nullopt when there is no file, silently, and when it cannot be read, logged. With the second of
  // the two, isDamaged() answers YES, as when a part could not be read.
  std::optional<RegistryContents> read();
  bool isDamaged() const { return damaged_; }

  // The one way to change the file: read under its lock, edited, and replaced atomically, so that
  // no change of another program is lost. A present file of which something could not be read is
  // first copied beside itself, and is left alone when that fails. A failure is logged, unless
  // another program is waited for in vain. The edit must not change the file itself.
  std::optional<RegistryFailure> change(
      const Edit& edit, std::chrono::milliseconds patience = RegistryLock::kPatience);

  // The same with contents that replace what the file has of them. NO on failure.
  bool write(const RegistryContents& contents);

 private:
  using Dictionary = extensions::PropertyList::Dictionary;

  std::optional<Dictionary> dictionary();
  std::optional<RegistryContents> contentsOf(const std::optional<Dictionary>& dictionary);
  std::optional<std::vector<QVRamDiskPtr>> unarchived(const Dictionary& dictionary);
  std::optional<RegistryFailure> put(const RegistryContents& contents, Dictionary dictionary);
  platform::Outcome keepDamagedFile();

  std::string path_;
  bool damaged_ = false;
};
