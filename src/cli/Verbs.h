#pragma once
// The verbs, each with what the user asked it for. How they are written is the grammar in
// CommandLine.cpp; what they say and do stands by subject in Life.cpp, Content.cpp, Recover.cpp,
// Configure.cpp, Show.cpp, Menu.cpp and Switches.cpp. Each gives its exit status.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/Action.h"

namespace cli {

// The settings of a disk as words of the command line, absent where none was given.
struct DiskOptions {
  using Text = std::optional<std::string>;

  Text kind;
  Text simulator;  // identifier of a simulator device
  Text name;
  Text directory;
  Text size;
  Text backup;
  Text backupDir;
  Text postCommand;  // with its arguments, quoted as in a shell
  Text index;
  Text format;
  std::optional<bool> atLogin;
  std::optional<bool> measure;
};

struct AddRequest {
  std::string path;  // of a directory to put the disk over; empty for none
  DiskOptions disk;
};

struct SetRequest {
  std::string disk;
  DiskOptions changes;
};

struct RemoveRequest {
  std::vector<std::string> names;
  bool yes = false;
};

struct MoveRequest {
  std::string disk;
  std::int64_t position = 0;  // counted from 1
};

struct ListRequest {
  bool json = false;
  bool names = false;
};

struct ShowRequest {
  std::vector<std::string> names;
  bool all = false;
  bool json = false;
};

struct KindsRequest {
  bool json = false;
};

struct RecoverRequest {
  std::vector<std::string> names;
  bool all = false;
  bool dryRun = false;
  bool json = false;
};

struct MenuRequest {
  std::string open;     // a disk, empty for none
  std::string picture;  // a file, empty for text
  bool dark = false;
  bool json = false;
};

struct MenuBarRequest {
  std::string state;  // "on", "off", or empty to ask
  bool atLogin = false;
  bool notAtLogin = false;
};

struct SessionSaveRequest {
  std::string state;  // "on", "off", or empty to ask
};

namespace verbs {

int add(Context& context, const AddRequest& request);
int set(Context& context, const SetRequest& request);
int remove(Context& context, const RemoveRequest& request);
int move(Context& context, const MoveRequest& request);

int list(Context& context, const ListRequest& request);
int show(Context& context, const ShowRequest& request);
int kinds(Context& context, const KindsRequest& request);
int menu(Context& context, const MenuRequest& request);

// create, eject, remount and rebuild; sync, backup and clean.
std::vector<ActionVerb> life();
std::vector<ActionVerb> content();
int recover(Context& context, const RecoverRequest& request);

int menuBar(Context& context, const MenuBarRequest& request);
int sessionSave(Context& context, const SessionSaveRequest& request);

}  // namespace verbs
}  // namespace cli
