#pragma once

#include <optional>
#include <string>

#include "kinds/FoundFolders.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/KindTable.h"

namespace kinds {

// Makes the checks of one preset on this machine. Lives no longer than what it is made from.
class PresetChecks {
 public:
  // `device` fills the placeholders of a preset for a simulator device.
  PresetChecks(const platform::ApplicationFacts& application, const platform::Preset& preset,
               std::optional<std::string> device, FoundFolders& folders);

  QVCreationInfos creationInfos() const;

 private:
  bool passes(const platform::PresetCheck& check) const;
  bool isVersionAccepted(const platform::PresetCheck& check) const;
  std::string filled(std::string text) const;
  std::optional<std::string> name() const;

  const platform::Preset& preset_;
  std::optional<std::string> device_;
  FoundFolders& folders_;
  std::optional<std::string> applicationPath_;
};

}  // namespace kinds
