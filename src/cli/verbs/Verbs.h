#pragma once
// The verbs, one a file. Each registers itself with the parser and, when it was the one chosen,
// leaves what is to be done.

#include <functional>

#include "cli/ActionVerb.h"
#include "cli/Context.h"

namespace CLI {
class App;
}

namespace cli {

struct Invocation {
  std::function<int(Context&)> command;
};

namespace verbs {

void add(CLI::App& app, Invocation& invocation);
void set(CLI::App& app, Invocation& invocation);
void remove(CLI::App& app, Invocation& invocation);
void move(CLI::App& app, Invocation& invocation);
void list(CLI::App& app, Invocation& invocation);
void show(CLI::App& app, Invocation& invocation);
void kinds(CLI::App& app, Invocation& invocation);
void create(CLI::App& app, Invocation& invocation);
void eject(CLI::App& app, Invocation& invocation);
void remount(CLI::App& app, Invocation& invocation);
void rebuild(CLI::App& app, Invocation& invocation);
void sync(CLI::App& app, Invocation& invocation);
void backup(CLI::App& app, Invocation& invocation);
void clean(CLI::App& app, Invocation& invocation);
void recover(CLI::App& app, Invocation& invocation);
void menuText(CLI::App& app, Invocation& invocation);
void menuBar(CLI::App& app, Invocation& invocation);
void sessionSave(CLI::App& app, Invocation& invocation);

// Registers an action with its disks and --all.
void action(CLI::App& app, Invocation& invocation, const ActionVerb& verb);

}  // namespace verbs
}  // namespace cli
