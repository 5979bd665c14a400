#pragma once

#include <optional>
#include <string_view>

namespace platform {

// The value of the first line "key<separator>value" of a text, blanks around key and value left
// out. The views point into the text.
std::optional<std::string_view> valueOfLine(std::string_view text, std::string_view key,
                                            char separator);

std::string_view withoutBlanks(std::string_view text);

// The number at the beginning of a text, behind blanks; what follows it is not looked at.
std::optional<double> leadingNumber(std::string_view text);

}  // namespace platform
