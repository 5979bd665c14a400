#pragma once
// What a cut-off action may have left beside a mount directory: the set-aside base, and files that
// somebody put where the volume was. Neither is ever deleted to make room.

#include <string>

// Whether the directory holds a name that is not the system's own. A directory that cannot be
// listed counts as holding one.
bool holdsUserFiles(const std::string& directory);

// Moves a directory that holds user files, and is no mount point, to a free name beside it, with a
// warning. The name is "NAME rescued", then with a number.
void setAsideIfUsed(const std::string& directory);

// Before a base is set aside: puts an older saved base back over a directory that is missing or
// holds nothing of the user's; where both hold user files the saved base is kept under another
// name. Does nothing while a volume is mounted over the directory.
void rescueSavedBase(const std::string& base, const std::string& savedBase);
