#include "cli/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>

#include "cli/Context.h"
#include "cli/verbs/Verbs.h"
#include "system/QVFunctions.h"

namespace cli {
namespace {

constexpr char kFooter[] =
    "A disk is named by its name, its identifier or an unambiguous beginning of either.\n"
    "Sizes are written 512M, 1.5G or 800MB (decimal), 2GiB (binary) or in plain bytes.\n"
    "Exit status: 0 done, 1 the action failed, 2 wrong usage, 3 no such disk,\n"
    "4 refused by validation or because the disk is in use.";

constexpr auto kVerbs = {verbs::add,     verbs::set,        verbs::remove,  verbs::move,
                         verbs::list,    verbs::show,       verbs::kinds,   verbs::create,
                         verbs::eject,   verbs::remount,    verbs::rebuild, verbs::sync,
                         verbs::backup,  verbs::clean,      verbs::recover, verbs::menuText,
                         verbs::menuBar, verbs::sessionSave};

void describe(CLI::App& app, Context& context, Invocation& invocation) {
  app.footer(kFooter);
  app.set_version_flag("--version",
                       "tarnvale " + QVFunctions::appVersion().value_or("of no version"));
  app.add_flag("-q,--quiet", context.quiet, "Say nothing but what went wrong");
  app.add_flag("-v,--verbose", context.verbose, "Show the log too");
  app.require_subcommand(1);
  app.fallthrough();
  for (const auto verb : kVerbs) verb(app, invocation);
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
  Invocation invocation;
  describe(app, context, invocation);
  try {
    app.parse(std::vector<std::string>(args.rbegin(), args.rend()));
  } catch (const CLI::ParseError& error) {
    return answerParser(app, error, args, context);
  }
  return invocation.command(context);
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
