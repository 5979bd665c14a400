#pragma once
// Running another program and collecting what it writes; QVFunctions::executeCommand stands on it.
//
// A tool is started by posix_spawn, which neither copies this program nor runs any of its code in
// the child, so any thread may start one at any time. Its output goes into files without names
// (StreamFile) and not into pipes. A pipe needs a reader for as long as anybody holds its other
// end, and a tool may leave something running that does: with a file the tool never waits for us,
// and we wait for the tool alone. When it has ended we read up to where the files end by then.
//
// The tool is the first of a session of its own. Typing an interrupt at the terminal reaches us and
// not the tool: half a mount or half a detach would be worse than a late answer. Who interrupts us
// asks the tools to end by way of endRunningPrograms, from a signal handler; that is why those that
// are waited for stand in an array of atomics and not in a container with a lock.

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "leaf/Descriptor.h"

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

// Where a tool's output stream is collected: a file without a name that grows as far as it must,
// so that the tool never waits for a reader, and that can be read to where it ends now although
// something that the tool left behind may still hold it open. Goes away with its last descriptor.
class StreamFile {
 public:
  // In memory where the system has such files, in the folder of temporary files otherwise. All
  // three give an invalid one with errno set when it cannot be had.
  static StreamFile make();
  static StreamFile inMemory();
  static StreamFile inTemporaryFolder();

  explicit operator bool() const { return static_cast<bool>(file_); }
  int descriptor() const { return file_.get(); }  // writes append; closed on exec

  // Holds back what is written later from the reads that follow.
  void seal();

  // The next bytes, up to the sealed end; empty at the end, and when they cannot be read.
  std::string nextChunk();

 private:
  static StreamFile over(Descriptor file);

  Descriptor file_;
  off_t position_ = 0;
  off_t end_ = 0;
};
