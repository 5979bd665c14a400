#pragma once

#include "platform/SessionEnd.h"

namespace platform {

// Stands where the system's announcements are not reached: none comes, nothing is held back.
class NoSessionEnd : public SessionEnd {
 public:
  void observe(std::function<void()> announced) override;
  bool hold(const std::string& why) override;
  void release() override;
};

}  // namespace platform
