#pragma once

#include <optional>
#include <string>
#include <vector>

#include "menu/Menu.h"

namespace platform::qt {

// The menu drawn into a file instead of shown.
struct PictureRequest {
  std::string file;  // a PNG, replaced
  bool dark = false;
  std::string open;  // identifier of the disk whose menu is drawn beside it, empty for none
};

// What the arguments (without the program's name) ask for: "--picture FILE [--dark] [--open
// IDENTIFIER]" in this order; nullopt for anything else.
std::optional<PictureRequest> pictureRequest(const std::vector<std::string>& arguments);

// As sharp as the application draws. nullopt, or what went wrong.
std::optional<std::string> drawMenu(const menu::MenuPtr& menu, const PictureRequest& request);

}  // namespace platform::qt
