#pragma once

#include <deque>
#include <memory>
#include <string>

#include "platform/Desktop.h"
#include "ramdisk/QVRamDisk.h"

namespace menu {

// Tells the user of failures, one after the other. Main thread only. Held by a shared pointer.
class FailureAlerts : public std::enable_shared_from_this<FailureAlerts> {
 public:
  // Returns at once; the main loop shows it.
  void tell(platform::Alert failure);

 private:
  void showNext();

  std::deque<platform::Alert> waiting_;
  bool isShowing_ = false;
};

// A failed action for an alert with the disk's name: what happened, why, and what may help, each a
// line of its own as far as it is known.
std::string failureText(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action);

}  // namespace menu
