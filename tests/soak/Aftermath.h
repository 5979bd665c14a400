#pragma once

#include <string>
#include <vector>

#include "tests/soak/Model.h"

namespace soak {

// What lies where a disk that is ejected has its contents.
struct Aftermath {
  std::string contents;              // the folder, "" for none
  std::vector<std::string> rescued;  // folders that the program kept under another name
  std::vector<std::string> strange;  // whatever else lies beside them

  bool settled() const { return !contents.empty() && strange.empty(); }
};

// A disk that keeps them in the directory itself, PLACE/NAME.
Aftermath aroundBase(const std::string& place, const std::string& name);

// The only disk with a backup folder in `backups`, mounted at PLACE/NAME.
Aftermath aroundBackupFolder(const std::string& backups, const std::string& place,
                             const std::string& name);

// What is wrong with it. A rescued folder will do where it holds all that must be there.
Verdict judge(const Aftermath& aftermath, const Model& model, bool volumeWasLost);

}  // namespace soak
