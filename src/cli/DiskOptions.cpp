#include "cli/DiskOptions.h"

#include <CLI/CLI.hpp>

#include "cli/Words.h"

namespace cli {
namespace {

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

}  // namespace

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
