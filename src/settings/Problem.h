#pragma once

#include <cstdint>
#include <string>

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

// Why something cannot be done. The comment says what the problem's texts hold.
enum class Reason {
  Validation,               // text: the message of the engine's check; subject: what was checked
  KindNotInstalled,         // kind
  KindUnusable,             // kind
  SimulatorOfOtherKind,     // a simulator device for another kind than its own
  PlaceOfPreset,            // a name or directory for a kind that has its own; kind
  BackupDirectoryUnused,    // for a mode that keeps the contents elsewhere
  PostCommand,              // subject: the command; text: the engine's message
  SharedPlace,              // subject: the other disk's name; path: the place
  NoBackupDirectory,        //
  BackupDirectoryMissing,   // path
  BackupDirectoryReadOnly,  // path
  BackupDirectoryOnDisk,    // path
  NoBase,                   // contents are to be written back where nothing is covered
  BaseAside,                // subject: the disk's name; path: where the base lies
  Created,                  // subject: the disk's name
  Acting,                   // another program acts on the disk; subject: its name
  Full,                     // there are as many disks as there can be
  Gone,                     // the disk is in the list no more
  NoFolder,                 // the registry's folder cannot be had
  Unreadable,               // path of the registry
  Unwritable,               // path of the registry; text: the system's words
  RegistryBusy,             // another program keeps it locked; path of the lock
};

// Nothing was changed.
struct Problem {
  Reason reason = Reason::Validation;
  Field field = Field::Disk;
  std::string subject{};
  std::string path{};
  std::string text{};     // localised, but for the system's words
  std::int64_t kind = 0;  // QVRamDiskType
};

// As a window says it, localised.
std::string textOf(const Problem& problem);

}  // namespace settings
