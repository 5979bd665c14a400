#pragma once
// A home of its own in which commands are run one after the other, as in separate processes: each
// reads its registry from the file. Files, volumes and the main loop are real; the machine and its
// places are dictated.

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "cli/CommandLine.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/linux/LinuxServices.h"
#include "settings/TypedText.h"
#include "tests/support/DoubleServices.h"
#include "tests/support/Scratch.h"

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

class Shell {
 public:
  Shell() {
    scratch.directory("home/support");
    scratch.directory("Volumes");
    scratch.directory("desk");
  }

  // "~~" in arguments stands for the scratch folder. Answers to questions come from `input`, which
  // is a terminal when `asked`.
  Outcome run(std::vector<std::string> args, const std::string& input = {}, bool asked = false) {
    install();
    for (auto& arg : args)
      if (const auto at = arg.find("~~"); at != std::string::npos)
        arg.replace(at, 2, scratch.path());
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    cli::Streams streams{in, out, err};
    streams.inIsTerminal = streams.errIsTerminal = asked;
    const int status = cli::run(args, streams);
    return {status, withoutScratch(out.str()), withoutScratch(err.str())};
  }

  std::string registryPath() const {
    return scratch.path("home/support/com.tarnvale.Tarnvale/RamDiskEntries");
  }
  std::string registry() const { return readFile(registryPath()); }

  Scratch scratch;
  DoubleServices doubles{scratch.path()};
  bool clockStands = false;  // what is waited for takes no time; no action can run

 private:
  void install() const {
    const auto real = platform::linuxServices({});
    auto services = doubles.services();
    services.mainLoop = clockStands ? doubles.loop : real.mainLoop;
    services.files = real.files;
    services.fileCopying = real.fileCopying;
    services.volumes = real.volumes;
    platform::install(services);
    QVRamDiskManager::forgetCachedAnswers();
  }

  std::string withoutScratch(std::string text) const {
    const std::string& path = scratch.path();
    for (auto at = text.find(path); at != std::string::npos; at = text.find(path))
      text.replace(at, path.size(), "~~");
    return text;
  }
};

// The values of a key in JSON output, in order.
inline std::vector<std::string> valuesOf(const std::string& json, const std::string& key) {
  std::vector<std::string> values;
  const std::string start = "\"" + key + "\": ";
  for (auto at = json.find(start); at != std::string::npos; at = json.find(start, at + 1)) {
    const auto from = at + start.size();
    auto value = json.substr(from, json.find('\n', from) - from);
    if (value.ends_with(',')) value.pop_back();
    values.push_back(value);
  }
  return values;
}

// Each line, "status arguments => what is said", is refused so and leaves the registry byte for
// byte as it was.
inline void expectRefused(Shell& shell, const std::string& transcript) {
  const std::string before = shell.registry();
  const auto posted = shell.doubles.notifications->posted.size();
  std::istringstream lines(transcript.substr(1));
  for (std::string line; std::getline(lines, line);) {
    const auto arrow = line.find(" => ");
    ASSERT_NE(arrow, std::string::npos) << line;
    const auto outcome = shell.run(settings::wordsOfCommand(line.substr(1, arrow - 1)));
    EXPECT_EQ(outcome.status, line.front() - '0') << line;
    EXPECT_EQ(outcome.err, "tarnvale: " + line.substr(arrow + 4) + "\n");
    EXPECT_EQ(outcome.out + shell.registry(), before) << line;
  }
  EXPECT_EQ(shell.doubles.notifications->posted.size(), posted);
}

// The same for commands that are all refused alike.
inline void expectEachRefused(Shell& shell, const std::vector<std::string>& commands,
                              const std::string& problem) {
  std::string transcript = "\n";
  for (const auto& command : commands) transcript += "1 " + command + " => " + problem + "\n";
  expectRefused(shell, transcript);
}
