// Kills the program again and again, and looks whether anything was lost.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <random>

#include "tests/soak/Soak.h"
#include "tests/support/PrivateNamespace.h"

namespace {

void describe(CLI::App& app, soak::Settings& settings) {
  app.add_option("--seed", settings.choices.seed, "Repeats the rounds of a run");
  app.add_option("--kills", settings.kills, "How many kills there are to be");
  app.add_option("--only", settings.only, "Only the round of this number");
  app.add_option("--program", settings.program, "Another build of tarnvale");
  app.add_option("--broken", settings.broken, "Makes the program err, which must be found")
      ->check(CLI::IsMember({"no-previous", "no-refill-mark", "no-incomplete-mark"}));
  app.add_option("--place", settings.place,
                 "A folder on a real disk, for some of the rounds and for what failed");
  app.add_option("--on-disk", settings.choices.percentOnDisk,
                 "How many rounds of a hundred use that disk; the others are in memory");
  app.add_flag("--keep-going", settings.keepsGoing,
               "Count failures instead of ending at the first");
}

bool knowsRecover(const std::string& program) {
  return std::system(("'" + program + "' --help | grep -q '^  recover '").c_str()) == 0;
}

// What this process starts itself is not concerned: the library knows only the program's names.
void breakProgram(const std::string& how) {
  setenv("TARNVALE_BROKEN", how.c_str(), 1);
  setenv("LD_PRELOAD", TARNVALE_BROKEN_LIBRARY, 1);
}

int runSoak(soak::Settings settings) {
  try {
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME",
                             "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS"})
      unsetenv(name);
    setenv("ASAN_OPTIONS", "detect_leaks=0", 0);  // which cannot be done under a tracer
    if (!settings.broken.empty()) breakProgram(settings.broken);
    settings.choices.recovers = knowsRecover(settings.program);
    return soak::Soak(std::move(settings)).run();
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 2;
  }
}

}  // namespace

int main(int argc, char** argv) {
  soak::Settings settings;
  settings.choices.seed = std::random_device()();
  settings.choices.percentOnDisk = 5;
  settings.program = TARNVALE_PROGRAM;
  settings.place = TARNVALE_SOAK_PLACE;
  CLI::App app("Kills tarnvale at every point and checks that no file is lost.", "tarnvale-soak");
  describe(app, settings);
  CLI11_PARSE(app, argc, argv);
  std::filesystem::create_directories(settings.place);
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  return runInPrivateNamespace([&] { return runSoak(settings); });
}
