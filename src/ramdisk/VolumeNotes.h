#pragma once
// What a volume of ours knows of its own contents, kept as extended attributes of its root beside
// the information record: whether they came in whole, and what the last save may be relied on for.
// Any thread.

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "platform/Result.h"
#include "system/TreeCopier.h"

// How the contents came in. The attribute "com.tarnvale.RamDiskRefill" is absent when all are in;
// else it holds a word, and after "lacks" the paths relative to the root, each ended by a zero
// byte.
struct RefillNote {
  enum class State {
    Whole,
    UnderWay,       // or cut off: what is there is not to be saved
    Lacks,          // these entries could not be brought in
    LacksUnlisted,  // and there were too many of them to list
  };
  State state = State::Whole;
  std::vector<std::string> lacking{};
};

// A note that is there and cannot be read counts as one of being under way.
RefillNote refillNote(const std::string& volume);
bool isRefillUnderWay(const std::string& volume);

platform::Outcome noteRefillBegun(const std::string& volume);
// Nothing lacking takes the note away. A list that the volume cannot hold becomes LacksUnlisted.
platform::Outcome noteRefillEnded(const std::string& volume,
                                  const std::vector<std::string>& lacking, bool unlisted);

// The last completed save or refill, in the attribute "com.tarnvale.RamDiskSaved": the generation
// that it left or came from, when it began, by the volume's clock, and how far the wall clock was
// ahead of one that is never set, which tells whether it was set back since.
struct SaveNote {
  std::string generation;
  timespec began{};
  double clockLead = 0;  // seconds
};

// nullopt where there is none, or the clock was set back since.
std::optional<SaveNote> saveNote(const std::string& volume);

// Takes the former note away and gives the moment by the volume's clock: what changes from now on
// has a change time that is not before it. nullopt on a volume that cannot be written.
std::optional<SaveNote> noteSaveBegun(const std::string& volume);
void noteSaveEnded(const std::string& volume, const SaveNote& note);
