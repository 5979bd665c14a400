#pragma once

#include <functional>
#include <memory>

#include "ramdisk/QVRamDiskEntries.h"

namespace app {

// The menu-bar item as the delegate knows it. Main thread only.
class Menu {
 public:
  virtual ~Menu() = default;

  // The menu's own registry, which all its actions run on.
  virtual std::shared_ptr<QVRamDiskEntries> ramDiskEntries() = 0;

  // An action of its registry runs, or has ended and is not saved yet: the registry must not be
  // read anew.
  virtual bool isBusy() const { return false; }

  // The program is about to end: waits for running actions, at most 30 seconds, and saves what
  // they did.
  virtual void wantTerminate() = 0;
};

// Makes the menu and installs its item; only here is a toolkit loaded. May give null where there
// is nothing to show one on.
using MenuFactory = std::function<std::shared_ptr<Menu>()>;

}  // namespace app
