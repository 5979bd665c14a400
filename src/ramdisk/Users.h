#pragma once
// The programs that stand in an action's way, as people are told of them.

#include <string>
#include <vector>

#include "core/QVError.h"
#include "platform/Volumes.h"

// "vi (123), make (124) and 3 more".
std::string namesOfUsers(const std::vector<platform::VolumeUser>& users);

// Of code InUse; `subject` is a disk's name or a path.
QVErrorPtr inUseError(const std::string& subject, const std::vector<platform::VolumeUser>& users);

// The first few of many texts, and how many more there are.
std::string someOf(const std::vector<std::string>& texts, bool more = false);
