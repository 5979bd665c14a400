#pragma once

#include <optional>
#include <string>

#include "cli/ExitStatus.h"
#include "settings/Change.h"

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
};

// The change that the options ask for, with what speaks against their words alone.
std::optional<Refusal> readOptions(const DiskOptions& options, settings::Change& change);

// Gives a verb the options of a disk. `options` must live as long as the verb.
void addDiskOptions(CLI::App& verb, DiskOptions& options);

}  // namespace cli
