#pragma once

#include <optional>

#include "cli/Context.h"
#include "settings/Problem.h"

namespace cli {

// What the command line says of a problem, what it advises, and how it ends.
Refusal refusalOf(const settings::Problem& problem);
std::optional<Refusal> refusalOf(const std::optional<settings::Problem>& problem);

}  // namespace cli
