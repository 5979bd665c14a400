#pragma once
// Every name and place that a disk has on a file system. They are made and parsed here alone, so
// that who writes one and who looks for it cannot differ. For a disk "build" over DIR, with the
// identifier ID and the program's own folder SUPPORT:
//
//   DIR/build                           its mount path, the directory that it replaces
//   DIR/build (Tarnvale Backup Base)    its saved base: the directory's own contents meanwhile
//   SUPPORT/ID.TarnvaleBackup           its backup folder, there or in a folder of the user's
//   FOLDER.previous                     the generation before, of a saved base or a backup folder
//   FOLDER.incomplete                   an empty folder: FOLDER is not whole
//   FOLDER.partial                      a generation with gaps, while a newer one is made
//   FOLDER rescued, FOLDER rescued 2    what lay in the way and may be somebody's only copy
//   SUPPORT/Locks/ID                    the lock of who acts on it
//   SUPPORT/ID.TarnvaleDevice           notes a device that was attached and is not mounted yet
//   SUPPORT/ID.TarnvaleVolume           where the volume of such a device is looked at
//
// All of them outlive a version of the program: what one has written the next must find. But for
// mountPath(), which asks where volumes are shown, these are functions of texts; nothing is looked
// up. Any thread.

#include <optional>
#include <string>
#include <string_view>

namespace disk_places {

// Without a directory it is below the one where the platform shows volumes.
std::string mountPath(const std::optional<std::string>& directory,
                      const std::optional<std::string>& name);

std::string savedBase(const std::string& directory, const std::string& name);
// Of a path or of a name alone.
bool isSavedBase(std::string_view path);

inline constexpr std::string_view kPreviousExtension = "previous";
std::string previousOf(const std::string& folder, std::string_view extension = kPreviousExtension);
std::string incompleteMarkOf(const std::string& folder);
std::string partialOf(const std::string& folder);

// The `number`th candidate, from 1 on. A name that the addition would make too long for a file
// system (255 bytes) is cut, so that keeping something aside never fails for its name.
std::string rescued(const std::string& path, int number);

// Of all the names that a disk may come to need beside its directory, the longest.
std::string longestNameBeside(const std::string& name);

// The folders are named after the disk, as many disks have theirs in one place.
std::string backupFolder(const std::string& parent, const std::string& identifier);
std::string deviceNote(const std::string& support, const std::string& identifier);
std::string lookPlace(const std::string& support, const std::string& identifier);

std::string lockFolder(const std::string& support);
std::string lockFile(const std::string& support, const std::string& identifier);

// --- Extended attributes, of a volume's root but for the last

// What ours begin with. A folder that stands for another does not take them on.
inline constexpr char kOwnAttributePrefix[] = "com.tarnvale.";

// How the volume's contents came in: see Generation.h.
inline constexpr char kRefillAttribute[] = "com.tarnvale.RamDiskRefill";
inline constexpr char kRefillUnderWay[] = "under way";

// What the last save may be relied on for.
inline constexpr char kSavedAttribute[] = "com.tarnvale.RamDiskSaved";

// Tells a generation from every other, on its folder.
inline constexpr char kGenerationAttribute[] = "com.tarnvale.RamDiskGeneration";

// What a generation has not got and the former one has, on its folder.
inline constexpr char kGapsAttribute[] = "com.tarnvale.RamDiskGaps";

// When the generation that the volume came from or was saved into was last in our hands, by that
// generation's clock.
inline constexpr char kSeenAttribute[] = "com.tarnvale.RamDiskBaseSeen";

}  // namespace disk_places

// Whose a volume is. It marks volumes of every version of the program and must never change.
inline constexpr char kRamDiskInfoAttributeName[] = "com.tarnvale.RamDiskInfo";
