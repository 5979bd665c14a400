#pragma once
// The platform's table of kinds and the applications in it. Any thread.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/KindTable.h"

namespace kinds {

// The entry that stands for a kind on this machine, null where it has no preset. It lives on when
// the table it comes from is forgotten.
std::shared_ptr<const platform::KindFacts> factsOfType(std::int64_t type);

// Where the application lies. Of one that only the system knows of nothing need exist there.
std::optional<std::string> applicationPath(const platform::ApplicationFacts& application);

// Takes the table anew from the installed services, for tests.
void forgetTable();

}  // namespace kinds
