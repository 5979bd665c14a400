#pragma once
// The directory where a desktop shows a user's removable volumes, /run/media/USER.

#include <string>

#include "disktools/Caller.h"
#include "disktools/Result.h"
#include "leaf/Descriptor.h"

namespace disktools {

struct MediaPlace {
  Descriptor directory;  // new, empty and root's until something is mounted over it
  std::string path;
};

// Makes a directory of this name in the user's media directory, or "NAME 1" and so on when
// something is there. The media directory is made root's and readable for the user: other
// programs that mount there as root rely on the user not being able to move things in it.
Result<MediaPlace> makeMediaPlace(const Caller& caller, const std::string& name);

// Removes such a directory again. One that is in use or not empty stays.
void removeMediaPlace(const std::string& path);

}  // namespace disktools
