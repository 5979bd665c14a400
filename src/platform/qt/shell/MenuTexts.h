#pragma once

#include <QString>

#include "menu/Menu.h"

namespace platform::qt {

// One line, indented, in full: the title, or what is said of the view in its place.
QString lineOf(const menu::MenuItem& item);

// A click runs the item's action also where it has a submenu. Only what is mounted can be opened,
// so a disk that is not has its submenu opened.
bool clickRuns(const menu::MenuItem& item);

// After what is going on now: the menu that it was clicked in is closed, and may be emptied.
void clickLater(const menu::MenuItemPtr& item);

}  // namespace platform::qt
