#include "disktools/Commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ostream>

namespace disktools {

namespace {

constexpr std::array<Option, 4> kAttach = {
    {{"-nomount", false, true}, {"-plist"}, {"-kernel"}, {"-backing", true}}};
constexpr std::array<Option, 1> kInfo = {{{"-plist"}}};
constexpr std::array<Option, 2> kNewfs = {{{"-s"}, {"-v", true, true}}};
constexpr std::array<Option, 2> kMount = {{{"-o", true}, {"-t", true, true}}};
constexpr std::array<Option, 1> kChange = {{{"-o", true, true}}};
constexpr std::array<Option, 1> kUmount = {{{"-f"}}};
constexpr std::array<Option, 3> kMdutil = {{{"-i", true}, {"-E"}, {"-d"}}};

constexpr std::array<Command, 10> kCommands = {{
    {"hdiutil", "attach", "-nomount [-plist] [-kernel] [-backing tmpfs|block] ram://SECTORS",
     "makes a device in memory of so many sectors of 512 bytes; -kernel keeps it out of the swap,\n"
     "      -backing says how it is kept, which is else chosen by what the kernel can do",
     kAttach, 1, attach},
    {"hdiutil", "detach", "NODE", "unmounts the device and gives its memory back", {}, 1, detach},
    {"hdiutil", "info", "[-plist]", "lists your devices and where they are mounted", kInfo, 0,
     info},
    {"newfs_hfs", "", "[-s] -v NAME NODE", "empties the device and names its volume", kNewfs, 1,
     newFilesystem},
    {"mount", "-u", "-o rdonly|rw NODE DIRECTORY",
     "lets nobody write to the device where it is mounted, or everybody again; refused as busy\n"
     "      while files are open for writing",
     kChange, 2, changeMount},
    {"mount", "", "[-o OPTION[,OPTION...]]... -t hfs NODE DIRECTORY",
     "mounts the device over a directory of yours; options: noatime, nobrowse, nodev, noexec,\n"
     "      nosuid, rdonly",
     kMount, 2, mountDevice},
    {"umount", "", "[-f] DIRECTORY",
     "unmounts the device there and keeps its contents; -f although it is in use", kUmount, 1,
     unmountDevice},
    {"diskutil",
     "erasevolume",
     "FORMAT NAME NODE",
     "empties the device and mounts it in your media directory; FORMAT is \"HFS+\" or\n"
     "      \"Case-sensitive HFS+\"",
     {},
     3,
     eraseVolume},
    {"mdutil", "", "[-i on|off] [-E] [-d] DIRECTORY",
     "accepted for your mounted devices; nothing indexes them", kMdutil, 1, index},
    {"purge", "", "", "drops clean caches from memory, for root", {}, 0, purge},
}};

const Option* findOption(const Command& command, std::string_view name) {
  const auto found = std::find_if(command.options.begin(), command.options.end(),
                                  [&](const Option& option) { return option.name == name; });
  return found == command.options.end() ? nullptr : &*found;
}

Outcome checkComplete(const Command& command, const Arguments& arguments) {
  for (const Option& option : command.options)
    if (option.required && !arguments.has(option.name))
      return Problem{fmt::format("{} is missing", option.name), 0, {}};
  const std::size_t given = arguments.operands.size();
  if (given < command.operands) return Problem{"an argument is missing", 0, {}};
  if (given > command.operands)
    return Problem{"unexpected argument " + arguments.operands[command.operands], 0, {}};
  return {};
}

constexpr std::string_view kProgram = "tarnvale-disktools";

int wrongUsage(std::string_view applet, std::string_view title, std::string_view what,
               std::ostream& err) {
  err << title << ": " << what << '\n' << usage(applet);
  return kWrongUsage;
}

int act(const Command& command, const Request& request) {
  const Outcome done = command.act(request);
  if (!done) request.err << command.title() << ": " << text(done.error()) << '\n';
  if (!done) return kFailed;
  if (request.out.flush()) return 0;
  request.err << command.title() << ": cannot write to the standard output\n";
  return kFailed;
}

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

bool Arguments::has(std::string_view option) const { return !values(option).empty(); }

std::string Arguments::value(std::string_view option) const {
  const auto all = values(option);
  return all.empty() ? std::string() : all.back();
}

std::vector<std::string> Arguments::values(std::string_view option) const {
  std::vector<std::string> all;
  for (const auto& [name, value] : options)
    if (name == option) all.push_back(value);
  return all;
}

std::string Command::title() const {
  return verb.empty() ? std::string(applet) : fmt::format("{}: {}", applet, verb);
}

std::span<const Command> commands() { return kCommands; }

const Command* findCommand(std::string_view applet, std::string_view verb) {
  for (const Command& command : kCommands)
    if (command.applet == applet && (command.verb.empty() || command.verb == verb)) return &command;
  return nullptr;
}

Result<Arguments> parseArguments(const Command& command, std::span<const std::string> words) {
  Arguments arguments;
  bool onlyOperands = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (onlyOperands || word.size() < 2 || word[0] != '-') {
      arguments.operands.push_back(word);
    } else if (word == "--") {
      onlyOperands = true;
    } else {
      const Option* const option = findOption(command, word);
      if (!option) return Problem{"unknown option " + word, 0, {}};
      if (option->takesValue && i + 1 == words.size())
        return Problem{"no value after " + word, 0, {}};
      arguments.options.emplace_back(word, option->takesValue ? words[++i] : std::string());
    }
  }
  if (auto complete = checkComplete(command, arguments); !complete) return complete.error();
  return arguments;
}

std::string usage(std::string_view applet) {
  std::string lines = "usage:\n";
  const bool known = std::any_of(kCommands.begin(), kCommands.end(),
                                 [&](const Command& command) { return command.applet == applet; });
  for (const Command& command : kCommands) {
    if (known && command.applet != applet) continue;
    std::string line(command.applet);
    for (const std::string_view part : {command.verb, command.synopsis})
      if (!part.empty()) line.append(" ").append(part);
    lines += fmt::format("  {}\n      {}\n", line, command.summary);
  }
  return lines;
}

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
  if (!arguments) return wrongUsage(applet, command->title(), text(arguments.error()), err);
  return act(*command, Request{caller, *arguments, out, err});
}

int runProgram(std::span<const std::string> words, const Caller& caller, std::ostream& out,
               std::ostream& err) {
  if (!words.empty() && baseName(words[0]) == kProgram) words = words.subspan(1);
  if (words.empty()) return run({}, {}, caller, out, err);
  return run(baseName(words[0]), words.subspan(1), caller, out, err);
}

}  // namespace disktools
