#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ramdisk/QVRamDisk.h"
#include "settings/Problem.h"

namespace settings {

// The disk's command and its arguments; none for none.
std::vector<std::string> postCommandOf(const QVRamDisk& disk);

// The executable that a command's first word stands for.
std::string completedCommand(const std::string& word);

// Why it could not be run. No words are no problem.
std::optional<Problem> problemOfPostCommand(const std::vector<std::string>& words);

}  // namespace settings
