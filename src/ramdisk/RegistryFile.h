#pragma once
// The registry's file, and how it is read and changed.
//
// It is a property-list dictionary whose "RamDiskEntries" is a keyed archive of the records; keys
// of others are kept. There is one way to change it: under the lock of a file beside it, it is
// read, edited and replaced atomically, so that a reader always finds a whole file and no program's
// change is lost. Readers take no lock.
//
// What cannot be read is not lost by a change. A file of which a part could not be read is copied
// to "RamDiskEntries.damaged" before it is replaced, once: a copy with the same bytes is enough,
// another damage gets a number. Where the copy cannot be made the file stays as it is. A file that
// cannot be read at all is for its user to look at: an edit is given no contents then, and one that
// brings none changes nothing.

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Trouble.h"
#include "extensions/PropertyList.h"
#include "ramdisk/QVRamDisk.h"

struct RegistryContents {
  std::vector<QVRamDiskPtr> ramDisks;
  bool showInMenuBar = false;
  bool showInMenuBarAtLogin = false;
  // Whether the helper saves the mounted disks when the session ends. Left out of the file until
  // somebody says so.
  std::optional<bool> saveAtSessionEnd{};
};

// Keeps the user's programs from changing the registry at the same time. The registry is replaced
// whenever it is written, so what is locked is a file beside it, which is made once and stays; who
// may write the one may use the other. Held until the object goes, or the program ends however it
// may. Within one program it holds others off too: who has it must not take it again. Any thread.
class RegistryLock {
 public:
  // What a command waits for others, each of which needs some milliseconds. Who has it for longer
  // hangs.
  static constexpr std::chrono::milliseconds kPatience{5000};

  // "RamDiskEntries.lock" for the registry's own path.
  static std::string fileFor(const std::string& registry) { return registry + ".lock"; }

  // Waits for others, not longer than `patience`, which may be 0. EWOULDBLOCK when one still has
  // it then. Where the file system knows no locks the change goes on without, and the log says so.
  static platform::Result<RegistryLock> take(const std::string& registry,
                                             std::chrono::milliseconds patience);

 private:
  explicit RegistryLock(std::shared_ptr<void> held) : held_(std::move(held)) {}

  std::shared_ptr<void> held_;  // null without a lock
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

  // Changes the file as said above. A failure is one of the registry's troubles; it is logged,
  // unless another program is waited for in vain. The edit must not change the file itself.
  Checked change(const Edit& edit, std::chrono::milliseconds patience = RegistryLock::kPatience);

  // The same with contents that replace what the file has of them. NO on failure.
  bool write(const RegistryContents& contents);

 private:
  using Dictionary = extensions::PropertyList::Dictionary;

  std::optional<Dictionary> dictionary();
  std::optional<RegistryContents> contentsOf(const std::optional<Dictionary>& dictionary);
  std::optional<std::vector<QVRamDiskPtr>> unarchived(const Dictionary& dictionary);
  Checked put(const RegistryContents& contents, Dictionary dictionary);
  platform::Outcome keepDamagedFile();

  std::string path_;
  bool damaged_ = false;
};
