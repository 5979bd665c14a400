#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// A program to start. Descriptors of -1 are inherited, as are an absent environment and directory.
struct SpawnRequest {
  std::string path;  // absolute; also given as the program's own name
  std::vector<std::string> arguments;
  std::optional<std::map<std::string, std::string>> environment;
  std::optional<std::string> directory;
  int standardOutput = -1;
  int standardError = -1;
};

// Starts it with no signal blocked and the default action for those that this program may ignore,
// in a session of its own: what is typed on this program's terminal to end it does not reach a disk
// tool half-way, and a program that wants the terminal is refused it instead of being stopped.
// 0 with the process in `process`, which the caller must reap, or the errno value of what failed,
// that of entering the directory and of executing the file included.
int spawnProgram(const SpawnRequest& request, pid_t& process);

// Waits for the end of a child. The status is the exit code, or the number of the signal that
// killed it. 0, or an errno value.
int awaitProgram(pid_t process, std::int64_t& status);

// Asks every program that is waited for, and what it started, to end. Disk tools that hold rights
// of their own take no notice. May be called in a signal handler.
void endRunningPrograms();
