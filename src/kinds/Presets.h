#pragma once
// The platform's table of kinds, the applications in it and what their presets take. Any thread.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "kinds/QVRamDiskManager.h"
#include "platform/KindTable.h"

namespace kinds {

// The entry that stands for a kind on this machine, null where it has no preset. It lives on when
// the table it comes from is forgotten.
std::shared_ptr<const platform::KindFacts> factsOfType(std::int64_t type);

// Where the application lies. Of one that only the system knows of nothing need exist there.
std::optional<std::string> applicationPath(const platform::ApplicationFacts& application);

// What the kind takes on this machine, nullopt where it has no preset. `simId` fills the
// placeholders of a preset for a simulator device.
std::optional<QVCreationInfos> creationInfosOf(std::int64_t type,
                                               const std::optional<std::string>& simId);

// What is kept is taken anew from the installed services, for tests.
void forgetPresets();
void forgetDirectoryRules();
void forgetIcons();

}  // namespace kinds
