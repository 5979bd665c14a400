#pragma once
// The applications whose directories can be moved into memory, as one table per platform.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace platform {

// An application that a kind of RAM disk stands for.
struct ApplicationFacts {
  std::string usualPlace{};  // tried first; empty where there is none
  // Asked of Applications next; where it is empty the usual place decides alone.
  std::string bundleIdentifier{};
  std::vector<std::string> runningIdentifiers{};  // a copy of any of these counts as running
};

// One test of a preset. They are made in order and the first that fails gives the preset's status.
struct PresetCheck {
  enum class Test {
    Application,            // the application was found and something exists at its path
    SystemBelow,            // `argument` is a system version that this system is older than
    Exists,                 // something exists at the path `argument`
    Writable,               // the user may write at the path `argument`
    FolderFound,            // a directory was found whose name begins with the preset's namePrefix
    VersionBeginsWith,      // the version text exists and begins with one of `choices`
    VersionBeginsWithNone,  // it exists and begins with none of `choices`
    VersionAtLeast,         // its first "."-separated part, as an integer, is at least `number`
  };
  Test test = Test::Application;
  std::int64_t statusWhenFailing = 0;  // 0 not now, -1 not installed or never usable
  std::string argument{};
  std::vector<std::string> choices{};
  std::int64_t number = 0;
  std::string versionKey{};  // entry of the application's information dictionary
};

// What a usable preset yields. Paths are absolute. In a preset for a device, the last "%@" of a
// path, a name or a check's argument stands for the identifier of the simulator device asked for.
struct Preset {
  std::vector<PresetCheck> checks{};
  std::string name{};
  std::string mountDirectory{};
  std::uint64_t size = 0;  // bytes

  // Not empty: the name is that of the first directory in `mountDirectory` beginning so.
  std::string namePrefix{};
};

// One kind. `type` is a QVRamDiskType. Several entries of one type are alternatives: the first
// whose application is installed stands for the kind, and the first of all where none is.
struct KindFacts {
  std::int64_t type = 0;
  ApplicationFacts application{};
  Preset preset{};
  Preset devicePreset{};  // for a simulator device; the kind has none where its size is 0
};

using KindTable = std::vector<KindFacts>;

// The checks under the names by which the tables read.
namespace checks {

using Test = PresetCheck::Test;

inline PresetCheck applicationFound() {
  return {.test = Test::Application, .statusWhenFailing = -1};
}
inline PresetCheck systemBelow(std::string version) {
  return {.test = Test::SystemBelow, .argument = std::move(version)};
}
inline PresetCheck exists(std::string path) {
  return {.test = Test::Exists, .argument = std::move(path)};
}
inline PresetCheck writable(std::string path) {
  return {.test = Test::Writable, .argument = std::move(path)};
}
inline PresetCheck folderFound() { return {.test = Test::FolderFound}; }
inline PresetCheck versionBeginsWith(std::vector<std::string> choices, std::string key) {
  return {.test = Test::VersionBeginsWith,
          .statusWhenFailing = -1,
          .choices = std::move(choices),
          .versionKey = std::move(key)};
}
inline PresetCheck versionBeginsWithNone(std::vector<std::string> choices, std::string key) {
  return {.test = Test::VersionBeginsWithNone,
          .statusWhenFailing = -1,
          .choices = std::move(choices),
          .versionKey = std::move(key)};
}
inline PresetCheck versionAtLeast(std::int64_t number, std::string key) {
  return {.test = Test::VersionAtLeast, .number = number, .versionKey = std::move(key)};
}

}  // namespace checks

}  // namespace platform
