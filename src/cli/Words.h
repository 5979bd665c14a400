#pragma once
// The words that stand for the engine's enumerations on the command line and in JSON.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/QVRamDiskTypes.h"
#include "ramdisk/Recovery.h"

namespace cli {

// The words of one enumeration, in the order of their values.
template <class Enumeration>
struct Words {
  struct Entry {
    Enumeration value;
    const char* word;
  };
  std::vector<Entry> entries;

  std::string of(Enumeration value) const {
    for (const auto& entry : entries)
      if (entry.value == value) return entry.word;
    return std::to_string(static_cast<int>(value));
  }

  std::optional<Enumeration> value(std::string_view word) const {
    for (const auto& entry : entries)
      if (entry.word == word) return entry.value;
    return std::nullopt;
  }

  std::vector<std::string> all() const {
    std::vector<std::string> words;
    for (const auto& entry : entries) words.emplace_back(entry.word);
    return words;
  }
};

const Words<QVRamDiskType>& kindWords();
const Words<QVRamDiskStatus>& statusWords();  // as in JSON
const Words<QVRamDiskFormat>& formatWords();
const Words<QVRamDiskMdIndexMode>& indexWords();
const Words<QVRamDiskBackupMode>& backupWords();
const Words<RecoveryStep>& recoveryStepWords();  // as in JSON

}  // namespace cli
