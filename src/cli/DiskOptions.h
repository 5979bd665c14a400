#pragma once

#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace cli {

// The settings of a disk as words of the command line, absent where none was given.
struct DiskOptions {
  using Text = std::optional<std::string>;

  Text kind;
  Text simulator;  // identifier of a simulator device
  Text name;
  Text directory;
  Text size;
  Text backup;
  Text backupDir;
  Text postCommand;  // with its arguments, quoted as in a shell
  Text index;
  Text format;
  std::optional<bool> atLogin;
  std::optional<bool> measure;

  // Whether the disk is to have another place, or keep its contents otherwise.
  bool changesPlace() const { return kind || simulator || name || directory; }
  bool changesBackup() const { return backup || backupDir; }
  // Whether something is to change that only a disk without a device can take on.
  bool changesVolume() const { return changesPlace() || size || format; }
};

// Gives a verb the options of a disk. `options` must live as long as the verb.
void addDiskOptions(CLI::App& verb, DiskOptions& options);

}  // namespace cli
