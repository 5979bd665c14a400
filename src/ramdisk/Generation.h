#pragma once
// A saved folder and what stands around it while a save is under way:
//
//   FOLDER              the generation
//   FOLDER.previous     the one before, kept until the new one is whole and on the device
//   FOLDER.incomplete   an empty folder; while it is there, FOLDER is not whole
//   FOLDER.partial      a generation with gaps, set aside while a newer one is made
//
// A save sets FOLDER aside as the previous one, marks, fills FOLDER anew, flushes, unmarks, and
// only then drops the previous one. So whatever cuts it off, one of the two is whole, and which one
// can be told. Stateless but for the paths; any thread.
//
// A save in which entries could not be copied leaves FOLDER with gaps, and beside it the previous
// one, which is not dropped before a save without gaps: the two together are all there is. FOLDER
// lists its gaps. Only a generation without gaps has an identity, so that a previous one beside a
// FOLDER that has one is needless. The next save sets a FOLDER with gaps aside as the partial one
// instead of the previous, so that what fills the gaps stays.
//
// Beside the folders, a volume of ours knows of its own contents, as extended attributes of its
// root beside the information record: whether they came in whole, and what the last save may be
// relied on for. A volume that was not filled to the end is never saved, as that would make its
// gaps the user's; and what is taken over from a generation instead of being copied goes by the
// note of the save that made it.

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Result.h"
#include "system/DiskPlaces.h"
#include "system/TreeCopier.h"

class Generation {
 public:
  explicit Generation(std::string folder,
                      std::string_view previousExt = disk_places::kPreviousExtension);

  const std::string& folder() const { return folder_; }
  const std::string& previous() const { return previous_; }
  const std::string& partial() const { return partial_; }

  bool exists() const;
  bool hasPrevious() const;
  bool hasPartial() const;
  // There is one beside the previous that is not known to have everything.
  bool hasGaps() const;
  bool isMarked() const;

  // The one to restore from, never a marked one. nullopt: none.
  std::optional<std::string> whole() const;

  // Both are on the device when they return. The folder above exists.
  platform::Outcome mark() const;
  platform::Outcome unmark() const;  // without a mark it does nothing

 private:
  std::string folder_;
  std::string previous_;
  std::string partial_;
  std::string marker_;
};

// What tells a generation from every other, kept with the folder; a copy or a restored folder does
// not have it. nullopt where the file system keeps no attributes.
std::optional<std::string> generationIdentity(const std::string& folder);
std::optional<std::string> giveNewIdentity(const std::string& folder);

// What a generation lacks and the previous one has, in the attribute "com.tarnvale.RamDiskGaps" of
// its folder: a word, and paths relative to it, each ended by a zero byte.
struct GapNote {
  enum class State {
    None,
    Moving,  // these are being moved over from the previous one, and nothing else is lacking
    Lacks,   // these could not be saved
  };
  State state = State::None;
  std::vector<std::string> paths{};
};
GapNote gapNote(const std::string& folder);
// A list that the file system cannot hold is cut. false when not even the state could be noted.
bool noteGaps(const std::string& folder, const GapNote& note);

// The generation was in our hands at this moment, by its own clock: what changed in it since,
// somebody else wrote. In the attribute "com.tarnvale.RamDiskBaseSeen" of its folder, or of the
// volume where the folder's file system keeps none.
bool noteSeen(const std::string& folder, const std::optional<timespec>& moment);
std::optional<timespec> noteSeenNow(const std::string& folder);  // gives the moment if it is noted
std::optional<timespec> lastSeen(const std::string& folder);

// For a generation that becomes an ordinary directory again.
void takeNotes(const std::string& folder);

// --- A volume's notes

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
