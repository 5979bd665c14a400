#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ramdisk/QVRamDisk.h"
#include "settings/Problem.h"

namespace settings {

// The settings of a disk that are to change; what is absent stays.
struct Change {
  using Text = std::optional<std::string>;

  std::optional<QVRamDiskType> kind{};
  Text simulator{};  // identifier of a simulator device
  Text name{};
  Text directory{};                     // empty for none; may begin with a tilde
  std::optional<std::uint64_t> size{};  // bytes
  std::optional<QVRamDiskBackupMode> backup{};
  Text backupDir{};  // as directory; stands for the mode that uses it
  // The command and its arguments; none takes it away.
  std::optional<std::vector<std::string>> postCommand{};
  std::optional<QVRamDiskMdIndexMode> index{};
  std::optional<QVRamDiskFormat> format{};
  std::optional<bool> atLogin{};
  std::optional<bool> measure{};

  // Whether the disk is to have another place, or keep its contents otherwise.
  bool changesPlace() const { return kind || simulator || name || directory; }
  bool changesBackup() const { return backup || backupDir; }
  // Whether it is to begin with, or write over, something else than before.
  bool changesContents() const { return changesPlace() || changesBackup() || measure; }
  // Whether something is to change that only a disk without a device can take on.
  bool changesVolume() const { return changesPlace() || size || format; }
  bool isEmpty() const {
    return !changesVolume() && !changesBackup() && !postCommand && !index && !atLogin && !measure;
  }
};

// Takes the change over into a record that is saved only when nothing is refused: of kind and
// post-command it is checked that they can be had.
Outcome apply(QVRamDisk& disk, const Change& change);
// Whether apply() would do it.
Outcome checkApplying(const QVRamDisk& disk, const Change& change);

// Takes it over as it stands, for a record that is being edited.
void assign(QVRamDisk& disk, const Change& change);

// The disk's command and its arguments; none for none.
std::vector<std::string> postCommandOf(const QVRamDisk& disk);

}  // namespace settings
