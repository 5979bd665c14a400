#pragma once

#include <ostream>

#include "menu/Menu.h"

namespace cli {

// A menu as lines of text: an item a line, with the row of a disk as its texts, ">" where there is
// a submenu, and what is disabled marked so, with the reason that its tool tip gives. The items of
// `opened`, which may be null, stand below the item that it belongs to.
void writeMenu(std::ostream& out, const menu::Menu& menu, const menu::MenuPtr& opened);

// The same as an array of objects.
void writeMenuJson(std::ostream& out, const menu::Menu& menu, const menu::MenuPtr& opened);

}  // namespace cli
