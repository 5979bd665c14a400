#pragma once

#include <string>

#include "core/QVError.h"

namespace cli {

// The error as one line: its message, with what it came from in brackets.
std::string errorText(const QVError& error);

}  // namespace cli
