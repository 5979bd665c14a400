#pragma once

#include <string>

// Asks the windows of this title on the screen that DISPLAY names to close, as the cross in their
// frame does. Gives how many there were.
int closeWindows(const std::string& title);
