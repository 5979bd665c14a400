#pragma once

#include "platform/Workspace.h"

namespace platform {

// No desktop is connected yet: each keeps the icons of folders in a store of its own, and none
// takes the picture format given. So nothing is shown, and the answer says so.
class LinuxWorkspace : public Workspace {
 public:
  bool setIconFromFile(const std::string&, const std::string&) override { return false; }
};

}  // namespace platform
