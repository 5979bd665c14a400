#pragma once

#include <string>

#include "settings/KindChoices.h"
#include "settings/Problem.h"

namespace settings {

// A problem as a window says it, localised.
std::string textOf(const Problem& problem);

std::string nameOfKind(QVRamDiskType kind);

// Why a kind cannot be chosen, or not be created at this moment; empty where it can.
std::string reasonTextOf(const KindChoice& kind);

}  // namespace settings
