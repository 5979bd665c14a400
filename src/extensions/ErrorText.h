#pragma once

#include <string>

#include "core/QVError.h"

namespace extensions {

// What the error came from in the end, as one line; empty where nothing is known.
std::string causeText(const QVError& error);

// The error as one line: its message, with what it came from in brackets.
std::string errorText(const QVError& error);

}  // namespace extensions
