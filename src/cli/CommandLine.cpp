// The grammar: how each verb is written, in the order in which the help shows them. A verb that was
// chosen leaves what is to be done, which runs when the whole line has been understood. The
// parser's header is large and stays in this one unit.

#include "cli/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <functional>
#include <memory>

#include "cli/Verbs.h"
#include "cli/Words.h"
#include "system/QVFunctions.h"

namespace cli {
namespace {

constexpr char kFooter[] =
    "A disk is named by its name, its identifier or an unambiguous beginning of either.\n"
    "Sizes are written 512M, 1.5G or 800MB (decimal), 2GiB (binary) or in plain bytes.\n"
    "Exit status: 0 done, 1 the action failed, 2 wrong usage, 3 no such disk,\n"
    "4 refused by validation or because the disk is in use.";
constexpr char kOneDisk[] = "Disk, by name, identifier or the beginning of one";
constexpr char kDisks[] = "Disks, by name, identifier or the beginning of one";
constexpr char kJson[] = "Write an array of objects";

using Command = std::function<int(Context&)>;

// What the options of a verb are read into. It lives as long as the parser; when the verb is
// chosen, `run` with it becomes the command.
template <class Request>
Request& requestOf(CLI::App& verb, Command& command, std::function<int(Context&, Request&)> run) {
  auto request = std::make_shared<Request>();
  verb.callback([&command, request, run = std::move(run)] {
    command = [request, run](Context& context) { return run(context, *request); };
  });
  return *request;
}

CLI::Option* addDisks(CLI::App& verb, std::vector<std::string>& names) {
  return verb.add_option("DISK", names, kDisks)->type_name("");
}

void addDisk(CLI::App& verb, std::string& name) {
  verb.add_option("DISK", name, kOneDisk)->required()->type_name("");
}

void addState(CLI::App& verb, std::string& state) {
  verb.add_option("STATE", state, "on or off")->check(CLI::IsMember({"on", "off"}))->type_name("");
}

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
            "Where the contents are kept: base is the directory that the disk replaces, and fills "
            "the disk from it; support the program's own folder, directory the one given with "
            "--backup-dir, none nowhere, and these leave out what the directory holds");
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
            "Leave the directory's own contents out: neither measured nor copied in; not with "
            "--backup base over a directory that holds files");
  addSwitch(verb, "--measure", options.measure, true, "Measure and copy them, with --backup base");
}

void describeConfiguring(CLI::App& app, Command& command) {
  auto* add = app.add_subcommand("add", "Configure a new disk");
  auto& added = requestOf<AddRequest>(*add, command, verbs::add);
  add->add_option("PATH", added.path,
                  "Existing directory to put the disk over: the disk takes its name and, unless "
                  "--backup says otherwise, is filled with its contents and writes them back when "
                  "ejected (--backup base)")
      ->type_name("");
  addDiskOptions(*add, added.disk);

  auto* set = app.add_subcommand("set", "Change the settings of a disk");
  auto& changed = requestOf<SetRequest>(*set, command, verbs::set);
  addDisk(*set, changed.disk);
  addDiskOptions(*set, changed.changes);

  auto* remove = app.add_subcommand(
      "remove", "Forget disks, and delete what the program's own folder keeps of their contents");
  auto& removed = requestOf<RemoveRequest>(*remove, command, verbs::remove);
  addDisks(*remove, removed.names)->required();
  remove->add_flag("--yes", removed.yes, "Do not ask before a backup is deleted");

  auto* move = app.add_subcommand("move", "Change the place of a disk in the list");
  auto& moved = requestOf<MoveRequest>(*move, command, verbs::move);
  addDisk(*move, moved.disk);
  move->add_option("POSITION", moved.position, "Its new place, from 1")->required()->type_name("");
}

void describeShowing(CLI::App& app, Command& command) {
  auto* list = app.add_subcommand("list", "Show all disks");
  auto& listed = requestOf<ListRequest>(*list, command, verbs::list);
  auto* json = list->add_flag("--json", listed.json, kJson);
  list->add_flag("--names", listed.names, "Write the names only, one a line")->excludes(json);

  auto* show = app.add_subcommand("show", "Show all that is known of disks");
  auto& shown = requestOf<ShowRequest>(*show, command, verbs::show);
  addDisks(*show, shown.names);
  show->add_flag("--all", shown.all, "Every disk");
  show->add_flag("--json", shown.json, kJson);

  auto* kinds = app.add_subcommand("kinds", "Show the kinds of disks and which can be used here");
  kinds->add_flag("--json", requestOf<KindsRequest>(*kinds, command, verbs::kinds).json, kJson);
}

void describeAction(CLI::App& app, Command& command, const ActionVerb& action) {
  auto* verb = app.add_subcommand(action.name, action.help);
  auto& asked = requestOf<ActionRequest>(*verb, command,
                                         [action](Context& context, const ActionRequest& request) {
                                           return runAction(context, action, request);
                                         });
  addDisks(*verb, asked.names);
  verb->add_flag("--all", asked.all, "Every disk for which it has a meaning");
  if (action.insists) verb->add_flag("--force", asked.force, action.insists);
  if (action.question) verb->add_flag("--yes", asked.yes, "Do not ask");
}

void describeRecovering(CLI::App& app, Command& command) {
  auto* recover = app.add_subcommand("recover", "Put right what cut-off actions have left");
  auto& recovered = requestOf<RecoverRequest>(*recover, command, verbs::recover);
  addDisks(*recover, recovered.names);
  recover->add_flag("--all", recovered.all, "Every disk");
  recover->add_flag("--dry-run", recovered.dryRun, "Only say what would be done");
  recover->add_flag("--json", recovered.json, kJson);
}

void describeCompanion(CLI::App& app, Command& command) {
  auto* menu = app.add_subcommand("menu", "Show what the menu-bar companion shows");
  auto& opened = requestOf<MenuRequest>(*menu, command, verbs::menu);
  menu->add_option("--open", opened.open, "With what can be done to this disk")->type_name("DISK");
  auto* picture =
      menu->add_option("--png", opened.picture, "Draw it into this file")->type_name("FILE");
  menu->add_flag("--dark", opened.dark, "As on a dark desktop")->needs(picture);
  menu->add_flag("--json", opened.json, kJson)->excludes(picture);

  auto* bar = app.add_subcommand("menu-bar", "Show the disks in the menu bar, or tell whether");
  auto& wanted = requestOf<MenuBarRequest>(*bar, command, verbs::menuBar);
  addState(*bar, wanted.state);
  auto* atLogin = bar->add_flag("--at-login", wanted.atLogin, "From the next login on too");
  bar->add_flag("--no-at-login", wanted.notAtLogin, "Not from the next login on")
      ->excludes(atLogin);

  auto* save = app.add_subcommand(
      "session-save", "Save mounted disks when the session ends, or tell whether they are saved");
  addState(*save, requestOf<SessionSaveRequest>(*save, command, verbs::sessionSave).state);
}

void describe(CLI::App& app, Context& context, Command& command) {
  app.footer(kFooter);
  app.set_version_flag("--version",
                       "tarnvale " + QVFunctions::appVersion().value_or("of no version"));
  app.add_flag("-q,--quiet", context.quiet, "Say nothing but what went wrong");
  app.add_flag("-v,--verbose", context.verbose, "Show the log too");
  app.require_subcommand(1);
  app.fallthrough();
  describeConfiguring(app, command);
  describeShowing(app, command);
  for (const auto& verbs : {verbs::life(), verbs::content()})
    for (const auto& verb : verbs) describeAction(app, command, verb);
  describeRecovering(app, command);
  describeCompanion(app, command);
}

// The options before a verb take no values, so the first word that is no option was meant as one.
std::string missingVerb(std::span<const std::string> args) {
  const auto word =
      std::find_if(args.begin(), args.end(), [](const auto& arg) { return !arg.starts_with('-'); });
  return word == args.end() ? "what is to be done is missing"
                            : "there is no verb \"" + *word + "\"";
}

// Help and version are asked for by what the parser throws too.
int answerParser(const CLI::App& app, const CLI::ParseError& error,
                 std::span<const std::string> args, Context& context) {
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
    return app.exit(error, context.streams.out, context.streams.err);
  const auto chosen = app.get_subcommands();
  std::string text = error.what();
  std::replace(text.begin(), text.end(), '\n', ' ');
  if (chosen.empty() && dynamic_cast<const CLI::RequiredError*>(&error)) text = missingVerb(args);
  const std::string verb = chosen.empty() ? "" : chosen.front()->get_name() + " ";
  return context.refuse(kWrongUsage, text, "'tarnvale " + verb + "--help' shows how");
}

int parseAndRun(std::span<const std::string> args, Context& context) {
  CLI::App app("Keeps caches and build folders in memory.", "tarnvale");
  Command command;
  describe(app, context, command);
  try {
    app.parse(std::vector<std::string>(args.rbegin(), args.rend()));
  } catch (const CLI::ParseError& error) {
    return answerParser(app, error, args, context);
  }
  return command(context);
}

}  // namespace

bool wantsLog(std::span<const std::string> args) {
  return std::any_of(args.begin(), args.end(),
                     [](const auto& arg) { return arg == "--verbose" || arg == "-v"; });
}

int run(std::span<const std::string> args, Streams& streams) {
  Context context(streams);
  try {
    return parseAndRun(args, context);
  } catch (const std::exception& exception) {
    return context.refuse(kActionFailed, std::string("this was not foreseen: ") + exception.what());
  }
}

}  // namespace cli
