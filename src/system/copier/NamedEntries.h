#pragma once

#include <string>
#include <utility>
#include <vector>

#include "system/copier/NameList.h"

namespace copier {

// The named entries of an open folder with their kinds, and with an errno value those that it does
// not have or that are no names.
struct NamedEntries {
  NameList found;
  std::vector<std::pair<std::string, int>> missing;

  NamedEntries(int folder, const std::vector<std::string>& names);

 private:
  void look(int folder, const std::string& name);
};

}  // namespace copier
