#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace settings {

// A command and its arguments as one text, quoted as in a shell: '…' takes all as it stands, in
// "…" and outside of quotes a backslash takes the next character as it stands (in "…" only a
// quote or another backslash). A quote that is never closed reaches to the end.
std::vector<std::string> wordsOfCommand(std::string_view text);

// The text that gives these words again.
std::string commandText(const std::vector<std::string>& words);

}  // namespace settings
