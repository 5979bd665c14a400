#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kinds/QVRamDiskManager.h"

namespace settings {

// A kind of disk that there is on this platform, and whether it can be chosen.
struct KindChoice {
  enum class State { Available, Unusable, NotInstalled };

  QVRamDiskType type = QVRamDiskType_Default;
  State state = State::Available;
  QVCreationInfos infos{};
  std::optional<std::string> running{};  // says which application runs, of an available one
};

// The kinds in the order in which they are offered, the plain one first.
std::vector<KindChoice> kindChoices();

// Localised.
std::string nameOfKind(QVRamDiskType kind);

// Why a kind cannot be chosen, or not be created at this moment; empty where it can.
std::string reasonTextOf(const KindChoice& kind);

}  // namespace settings
