#include "disktools/Disktools.h"

#include <fmt/format.h>

#include <ostream>

#include "disktools/Commands.h"

namespace disktools {

namespace {

constexpr std::string_view kProgram = "tarnvale-disktools";

int wrongUsage(std::string_view applet, std::string_view title, std::string_view what,
               std::ostream& err) {
  err << title << ": " << what << '\n' << usage(applet);
  return kWrongUsage;
}

int act(const Command& command, const Request& request) {
  const Failure failure = command.act(request);
  if (failure) request.err << command.title() << ": " << text(*failure) << '\n';
  if (failure) return kFailed;
  if (request.out.flush()) return 0;
  request.err << command.title() << ": cannot write to the standard output\n";
  return kFailed;
}

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

int run(std::string_view applet, std::span<const std::string> words, const Caller& caller,
        std::ostream& out, std::ostream& err) {
  const std::string verb = words.empty() ? std::string() : words[0];
  if (verb == "--help" || applet == "--help") {
    out << usage(applet);
    return 0;
  }
  const Command* const command = findCommand(applet, verb);
  if (!command)
    return wrongUsage(applet, applet.empty() ? kProgram : applet,
                      verb.empty() ? "no command" : "unknown command " + verb, err);
  auto arguments = parseArguments(*command, words.subspan(command->verb.empty() ? 0 : 1));
  if (!arguments) return wrongUsage(applet, command->title(), text(arguments.problem()), err);
  return act(*command, Request{caller, *arguments, out, err});
}

int runProgram(std::span<const std::string> words, const Caller& caller, std::ostream& out,
               std::ostream& err) {
  if (!words.empty() && baseName(words[0]) == kProgram) words = words.subspan(1);
  if (words.empty()) return run({}, {}, caller, out, err);
  return run(baseName(words[0]), words.subspan(1), caller, out, err);
}

}  // namespace disktools
