#include "cli/DiskOptions.h"

#include <CLI/CLI.hpp>

#include "cli/Words.h"
#include "settings/CommandText.h"
#include "settings/SizeText.h"

namespace cli {
namespace {

constexpr char kSizeForms[] =
    "sizes look like 512M, 1.5G, 800MB (decimal), 2GiB (binary) or plain bytes";

// An option whose words are a closed set.
template <class Enumeration>
void addChoice(CLI::App& verb, const char* name, DiskOptions::Text& value,
               const Words<Enumeration>& words, const char* help) {
  verb.add_option(name, value, help)->check(CLI::IsMember(words.all()))->type_name("WORD");
}

void addSwitch(CLI::App& verb, const std::string& name, std::optional<bool>& value, bool whenGiven,
               const char* help) {
  verb.add_flag_callback(
      name, [&value, whenGiven] { value = whenGiven; }, help);
}

// The word was checked when the command line was read.
template <class Enumeration>
std::optional<Enumeration> valueOf(const DiskOptions::Text& word, const Words<Enumeration>& words) {
  return word ? words.value(*word) : std::nullopt;
}

}  // namespace

std::optional<Refusal> readOptions(const DiskOptions& options, settings::Change& change) {
  change.kind = valueOf(options.kind, kindWords());
  change.simulator = options.simulator;
  change.name = options.name;
  change.directory = options.directory;
  change.backup = valueOf(options.backup, backupWords());
  change.backupDir = options.backupDir;
  if (options.postCommand) change.postCommand = settings::wordsOfCommand(*options.postCommand);
  change.index = valueOf(options.index, indexWords());
  change.format = valueOf(options.format, formatWords());
  change.atLogin = options.atLogin;
  change.measure = options.measure;
  if (options.size) change.size = settings::bytesFromText(*options.size);
  if (!options.size || change.size) return std::nullopt;
  return Refusal{kWrongUsage, "\"" + *options.size + "\" is not a size of a disk",
                 std::string(kSizeForms) + ", from 128M to 128G"};
}

void addDiskOptions(CLI::App& verb, DiskOptions& options) {
  addChoice(verb, "--kind", options.kind, kindWords(),
            "What the disk is for; 'tarnvale kinds' shows which there are");
  verb.add_option("--simulator", options.simulator,
                  "Simulator device of a core-simulator disk, by identifier")
      ->type_name("ID");
  verb.add_option("--name", options.name, "Name of the volume and of the directory it replaces")
      ->type_name("NAME");
  verb.add_option("--directory", options.directory,
                  "Directory above it; without one the disk is mounted where volumes are shown")
      ->type_name("DIR");
  verb.add_option("--size", options.size, "Such as 512M, 1.5G or 2GiB; 128M to 128G")
      ->type_name("SIZE");
  addChoice(verb, "--backup", options.backup, backupWords(),
            "Where the contents are kept: base is the directory that the disk replaces, support "
            "the program's own folder, directory the one given with --backup-dir");
  verb.add_option("--backup-dir", options.backupDir, "Keep the contents below this directory")
      ->type_name("DIR");
  verb.add_option("--post-command", options.postCommand,
                  "Command to run on the new disk, with its arguments in one quoted text; an "
                  "empty one takes it away")
      ->type_name("COMMAND");
  addChoice(verb, "--index", options.index, indexWords(), "Search index of the volume");
  addChoice(verb, "--format", options.format, formatWords(), "Format of the volume");
  addSwitch(verb, "--at-login", options.atLogin, true, "Create the disk at login");
  addSwitch(verb, "--no-at-login", options.atLogin, false, "Do not create it at login");
  addSwitch(verb, "--no-measure", options.measure, false,
            "Leave the directory's own contents out: neither measured nor copied in");
  addSwitch(verb, "--measure", options.measure, true, "Measure and copy them");
}

}  // namespace cli
