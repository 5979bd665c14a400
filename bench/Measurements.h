#pragma once

#include <string>

#include "Ground.h"

namespace bench {

// What is measured, each giving its tables. `scratch` is a folder on a disk; a data set lies made
// in it, in the folder that it names. What they leave there is a matter of the caller.

std::string refreshing(const std::string& scratch);
// The status menu with 15 disks on an X server without a screen; processor time, not waiting.
std::string menuCost(const std::string& scratch);
// What a helper costs that stays and has nothing to do, with fifteen disks mounted: a table, after
// a minute. `scratch` is a folder for the disks; the registry is the one of the home folder. "" and
// a line on standard error when it could not be measured.
std::string idleCost(const std::string& scratch);
std::string creating(const std::string& scratch, const std::string& program);
std::string refilling(const DataSet& set, const std::string& scratch);
std::string saving(const DataSet& set, const std::string& scratch);
std::string emptying(const DataSet& set, const std::string& scratch);
std::string measuring(const DataSet& set, const std::string& scratch);

}  // namespace bench
