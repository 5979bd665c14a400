#pragma once

#include <memory>

#include "menu/Menu.h"

namespace menu {

class StatusItemView;

// The item that the program has in the desktop's status bar. It shows the view and, on a click,
// tells it; popping up the menu is the owner's to ask for.
class StatusItem {
 public:
  virtual ~StatusItem() = default;

  virtual void setMenu(MenuPtr menu) = 0;
  virtual void setView(std::shared_ptr<StatusItemView> view) = 0;

  // Shows the menu at the item: has it filled, opened, and closed again when the user is done.
  // Returns at once or when it closed, as the platform does. A desktop that draws the menu itself
  // asks for it without this.
  virtual void popUpStatusItemMenu() = 0;
};

// What a desktop gives the status menu. Main thread only.
class StatusBar {
 public:
  virtual ~StatusBar() = default;

  // Length in points. The item goes with the last reference.
  virtual std::shared_ptr<StatusItem> statusItemWithLength(double length) = 0;

  // Brings the program to the front, before others.
  virtual void activateIgnoringOtherApps() = 0;

  // Ends the program as if its user had asked it to.
  virtual void terminate() = 0;
};

}  // namespace menu
