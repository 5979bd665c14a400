#include <fmt/format.h>

#include <memory>
#include <optional>

#include "Contest.h"
#include "Disks.h"
#include "Ground.h"
#include "Measurements.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDiskEntries.h"

namespace bench {
namespace {

// Counts the external tools that the engine asks for.
class CountingPlaces : public platform::Places {
 public:
  explicit CountingPlaces(std::shared_ptr<platform::Places> real) : real_(std::move(real)) {}
  std::string tool(platform::Tool tool) const override {
    ++tools;
    return real_->tool(tool);
  }
  std::optional<std::string> home() const override { return real_->home(); }
  std::vector<std::string> applicationSupportDirectories() const override {
    return real_->applicationSupportDirectories();
  }
  std::vector<std::string> cachesDirectories() const override { return real_->cachesDirectories(); }
  std::string preferencesDirectory() const override { return real_->preferencesDirectory(); }
  std::string volumesDirectory() const override { return real_->volumesDirectory(); }
  std::string usersDirectory() const override { return real_->usersDirectory(); }
  std::vector<std::string> protectedDirectories() const override {
    return real_->protectedDirectories();
  }
  std::vector<std::string> libraryPrefixes() const override { return real_->libraryPrefixes(); }
  std::vector<std::string> allowedLibraryPrefixes() const override {
    return real_->allowedLibraryPrefixes();
  }
  bool isVolumeType(std::string_view type) const override { return real_->isVolumeType(type); }
  platform::KindTable kindTable() const override { return real_->kindTable(); }

  mutable int tools = 0;

 private:
  std::shared_ptr<platform::Places> real_;
};

// For as long as it lives the engine's services count.
class CountedTools {
 public:
  CountedTools()
      : before_(platform::services()), places_(std::make_shared<CountingPlaces>(before_.places)) {
    auto all = before_;
    all.places = places_;
    platform::install(all);
  }
  ~CountedTools() { platform::install(before_); }
  CountedTools(const CountedTools&) = delete;
  CountedTools& operator=(const CountedTools&) = delete;

  int& count() { return places_->tools; }

 private:
  platform::Services before_;
  std::shared_ptr<CountingPlaces> places_;
};

}  // namespace

std::string refreshing(const std::string& scratch) {
  CountedTools counted;
  MountedDisks disks(scratch + "/disks");
  counted.count() = 0;
  std::vector<double> times(200);
  for (double& time : times) time = seconds([&] { disks.entries().updatorAction(); });
  const int tools = counted.count();
  return fmt::format(
      "## Status refresh of 15 mounted disks\n\n| median |\n|---|\n| {:.3f} ms |\n\n"
      "External tools run in {} refreshes: {}.\n\n",
      median(times) * 1000, times.size(), tools);
}

}  // namespace bench
