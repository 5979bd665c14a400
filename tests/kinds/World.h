#pragma once
// A machine made up for one test: real files below a scratch folder and the texts that are shipped,
// with a system, applications, volumes and places as the test says.

#include "extensions/StringsFile.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/linux/LinuxVolumes.h"
#include "platform/posix/PosixBundle.h"
#include "platform/posix/PosixFiles.h"
#include "tests/support/DoubleServices.h"
#include "tests/support/Test.h"

inline const std::filesystem::path kSourceTree = TARNVALE_SOURCE;

inline std::map<std::string, std::string> englishTexts(const std::string& table) {
  const auto file = kSourceTree / "resources/en.lproj" / (table + ".strings");
  return extensions::parseStringsFile(readFile(file)).value();
}

// Says of every volume whether it lies on this machine, or that it cannot tell.
class DictatedVolumes : public platform::LinuxVolumes {
 public:
  platform::Result<bool> isLocal(const std::string&) const override { return answer; }
  platform::Result<bool> answer = true;
};

class World : public DoubleServices {
 public:
  World() : World(std::make_unique<Scratch>()) {}
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  void install(std::shared_ptr<doubles::FakePlaces> other) {
    places = std::move(other);
    platform::Services all = services();
    all.bundle = std::make_shared<platform::PosixBundle>(
        platform::PosixBundleFacts{{}, {}, {}, kSourceTree / "resources", {}});
    all.files = std::make_shared<platform::PosixFiles>();
    all.volumes = volumes;
    platform::install(all);
    QVRamDiskManager::forgetCachedAnswers();
  }

  std::string home(const std::string& below = {}) const {
    return scratch.path("home") + (below.empty() ? "" : "/" + below);
  }

  // Nobody, root included, writes there for as long as this world lasts.
  static void makeReadOnly(const std::string& path) {
    ASSERT_EQ(mount("none", path.c_str(), "tmpfs", MS_RDONLY, nullptr), 0);
  }

 private:
  explicit World(std::unique_ptr<Scratch> made)
      : DoubleServices(made->path()), scratch_(std::move(made)) {
    install(places);
    scratch.directory("home");
  }

  std::unique_ptr<Scratch> scratch_;

 public:
  Scratch& scratch = *scratch_;
  std::shared_ptr<DictatedVolumes> volumes = std::make_shared<DictatedVolumes>();
};
