#pragma once

#include <sys/types.h>

#include <string>

namespace bench {

// What a helper costs that stays and has nothing to do, with fifteen disks mounted: a table, after
// a minute. `scratch` is a folder for the disks; the registry is the one of the home folder. "" and
// a line on standard error when it could not be measured.
std::string idleCost(const std::string& scratch);

// The table for a process that is idle by now.
std::string idleTable(const std::string& title, pid_t process);

}  // namespace bench
