#pragma once
// The one gate through which the engine takes anything of the user's away from its place: putting
// set-aside folders back, dropping a generation that a newer one replaces, and keeping what may be
// somebody's only copy under another name. A whole tree is only ever removed by dropFormer(), which
// its caller proves to be replaced; directories that stood for a volume go when they are empty, and
// else are kept. Any thread.
//
// What is kept aside is never kept silently: each function gives the path to tell the user.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ramdisk/Generation.h"
#include "ramdisk/Recovery.h"

// Whether the directory holds a name that is not the system's own. A directory that cannot be
// listed counts as holding one, and so does anything but a directory.
bool holdsUserFiles(const std::string& directory);

// Moves it to a free name beside it, with a warning: "NAME rescued", then with a number. Gives the
// new path.
platform::Result<std::string> keepRescued(const std::string& path);

// A folder takes a place in which nothing is to be lost: in one step where the file system can. A
// directory in the place goes when it is empty, else it is kept aside, and told in `kept`.
platform::Outcome putInPlace(const std::string& folder, const std::string& place,
                             std::vector<std::string>& kept);

// The generation that a newer one has replaced whole. What of it cannot be removed is kept aside.
// Gives where, if anything is.
std::optional<std::string> dropFormer(const std::string& folder);

// Moves the entries, relative paths, from one folder into the other where that has nothing of the
// name. Gives those that it lacks still; not the ones that neither has.
std::vector<std::string> carryOver(const std::vector<std::string>& paths, const std::string& from,
                                   const std::string& to);

// Moves entries, relative paths, that somebody else wrote into a folder which is about to go to a
// free "... rescued" name beside `beside`, in folders of their own. nullopt when one cannot be.
std::optional<std::string> keepEntriesRescued(const std::vector<std::string>& paths,
                                              const std::string& from, const std::string& beside);

// Copies entries of a volume that no save could take to a free "... rescued" name of `place`.
struct RescuedCopies {
  std::optional<std::string> folder;  // when anything was copied
  std::vector<std::string> lost;      // what could not be copied there either
};
RescuedCopies copyRescued(const std::vector<std::string>& paths, const std::string& volume,
                          const std::string& place);

// What a generation with gaps needs from its previous one before it stands alone: the listed
// entries. Then the previous one is dropped, if nothing else could be in it, or kept aside, and
// told in `kept`.
void closeGaps(const Generation& generation, std::vector<std::string>& kept);

// A finding with what puts it right.
struct PlannedRecovery {
  RecoveryFinding finding;
  // Paths that something was kept aside under, and that the finding could not name yet, are added.
  std::function<platform::Outcome(std::vector<std::string>& kept)> perform;
};

// What to do about a generation while no volume stands for it. `place`: the directory whose
// contents it holds, where it is to be put back; nullopt for one that is restored from where it is.
// `placeIsFree`: nothing in the place counts, as with a volume that is about to go.
std::vector<PlannedRecovery> planForGeneration(const Generation& generation,
                                               const std::optional<std::string>& place,
                                               bool placeIsFree = false);
