#pragma once

#include <optional>
#include <string>
#include <vector>

namespace app {

struct HelperOptions {
  bool menu = true;      // show one if the registry wants it
  bool service = false;  // stay, without a menu
  bool fromApp = false;  // the application started the helper: no disks are made
  bool verbose = false;  // the whole log on standard error, not only what went wrong
  bool version = false;
  bool help = false;
  std::optional<std::string> unknown;  // the first argument that is none of ours
};

// `args` without the program's name. "FromApp" counts as the last argument only.
HelperOptions helperOptions(const std::vector<std::string>& args);

extern const char kHelperHelp[];

}  // namespace app
