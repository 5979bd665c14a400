#pragma once
// Why something is refused or may have failed, and what helps, as codes. The checks and rules of
// every room give one of these with the facts that it is about; what steers compares the code. The
// sentence is made last, from the one table in Trouble.cpp: as a window or a menu says it, or as
// the command line does, which advises commands where a window has buttons.

#include <cstdint>
#include <string>

#include "platform/Result.h"

// The comment says which facts there are.
enum class Trouble : std::uint8_t {
  None,

  // A disk cannot be created like this. Subject: what was checked, where that is not obvious.
  ApplicationRunning,  // text: the application's name
  NameMissing,
  NameIllegal,
  NameTooLong,  // text: how many bytes it may have
  SizeWrong,
  MemoryShort,  // text: the size of the machine's memory
  DirectoryUnspecified,
  DirectoryMissing,
  DirectoryIsNone,
  DirectoryNotLocal,
  DirectoryOfSystem,
  DirectoryOfUsers,
  DirectoryOfVolumes,
  DirectoryInLibrary,
  DirectoryReadOnly,
  PlaceOverMount,  // path: where something is mounted in the directory
  PlaceOfOther,    // text: the other disk's name; path: what of it lies within or around
  PlaceOverOwn,    // path: the folder that it would cover

  // Settings that cannot be had or changed.
  KindNotInstalled,         // text: the kind
  KindUnusable,             // text: the kind
  SimulatorOfOtherKind,     // a simulator device for another kind than its own
  PlaceOfPreset,            // a name or directory for a kind that has its own; text: the kind
  BackupDirectoryUnused,    // for a mode that keeps the contents elsewhere
  BackupDirectoryMissing,   // path
  BackupDirectoryReadOnly,  // path
  BackupDirectoryOnDisk,    // path
  BackupDirectoryOnOther,   // path; text: the other disk's name
  BackupDirectoryUnspecified,
  NoBase,            // contents are to be written back where nothing is covered
  PostCommand,       // subject: the command; text: why it cannot be run, localised
  SharedPlace,       // subject: the other disk's name; path: the place
  ContentsReplaced,  // path: the directory, whose files would be left out and then put aside
  ContentsHidden,    // no refusal; path: the directory, whose files are not on the disk
  BaseAside,         // subject: the disk's name; path: where the base lies
  Created,           // subject: the disk's name; it is to be removed
  CreatedAsItIs,     // the same; it is to be changed
  Acting,            // another program acts on the disk; subject: its name; text: who it is
  Full,              // there are as many disks as there can be
  Gone,              // the disk is in the list no more

  // The registry cannot be read or changed.
  RegistryWithoutFolder,  // its folder cannot be had
  RegistryUnreadable,     // path
  RegistryUnwritable,     // path; text: the system's words
  RegistryBusy,           // another program keeps it locked; path: the lock

  // What may help after an action that failed; what happened the error says. Subject: the disk's
  // name.
  ContentsTooLarge,
  CommandFailed,
  PlaceTaken,
  OtherVolume,
  Locked,
  RefillUnfinished,
  NotRestored,
  StillMounted,
  BaseLeftAside,  // path: where it lies
  InUse,
  NotAllSaved,
  CannotBeHeld,
};

struct TroubleFacts {
  std::string subject{};
  std::string path{};
  std::string text{};
};

// As a window says it: sentences, localised. Empty where there is nothing to say.
std::string whatHappened(Trouble trouble, const TroubleFacts& facts = {});
std::string whatHelps(Trouble trouble, const TroubleFacts& facts = {});

// As the command line says it: two clauses, localised, the second empty where nothing can be
// advised.
struct CommandSentence {
  std::string what;
  std::string todo;
};
CommandSentence commandSentence(Trouble trouble, const TroubleFacts& facts = {});

// What a check found. Nothing was changed then.
struct Hindrance {
  Trouble trouble = Trouble::None;
  TroubleFacts facts{};
};
using Checked = platform::Result<void, Hindrance>;
