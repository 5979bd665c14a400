#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

// The text for a key in the user's language, the key itself where there is none. An empty table
// is the default one.
std::string QVLocalized(std::string_view key, std::string_view table = {});

// The same for a key with "%@" placeholders, filled in order. The values are not searched again.
std::string QVLocalizedFormat(std::string_view key, std::initializer_list<std::string_view> values,
                              std::string_view table = {});
