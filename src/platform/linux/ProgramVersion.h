#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// The version that a program prints when it is asked to with "--version": the first number with a
// dot in its output. nullopt when it prints none, cannot be started, or has not closed its output
// within the time. Nothing of it runs on when this returns.
std::optional<std::string> askedVersion(const std::string& executable,
                                        std::chrono::milliseconds limit);

// "115.3.0" of "Some Browser 115.3.0esr (64-bit)".
std::optional<std::string> firstDottedNumber(std::string_view text);

}  // namespace platform
