#pragma once

#include <cstdint>
#include <string>

#include "core/Trouble.h"

namespace settings {

// The setting that a problem stands at.
enum class Field {
  Disk,  // as a whole
  Kind,
  Simulator,
  Name,
  Directory,
  Size,
  Backup,
  BackupDirectory,
  PostCommand,
};

// Why something cannot be done. Nothing was changed.
struct Problem {
  Trouble trouble = Trouble::None;
  Field field = Field::Disk;
  TroubleFacts facts{};
  std::int64_t kind = 0;  // QVRamDiskType, where the trouble is about one
};
using Outcome = platform::Result<void, Problem>;

// As a window says it, localised.
inline std::string textOf(const Problem& problem) {
  return whatHappened(problem.trouble, problem.facts);
}

}  // namespace settings
