#pragma once
// What the kernel tells of processes in /proc, see proc(5).

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "leaf/Descriptor.h"

namespace platform {

// One process's folder in /proc, see proc(5). It stays that process's: once the process has ended,
// nothing more is told, whoever gets its number. Nor is anything told that the caller may not see.
class ProcessFolder {
 public:
  // `name` is a process number, or "self".
  explicit ProcessFolder(const std::string& name);

  // Where a link of the kernel's leads, as text: nothing is looked up. An empty text stands for a
  // path that is longer than the kernel tells.
  std::optional<std::string> link(const char* name) const;
  std::string text(const char* name) const;  // empty where nothing is told
  std::vector<std::string> descriptors() const;

  bool belongsToUser() const;  // who runs this program, not another

  // The mount on which lies what such a link leads to; 0 where nothing is told. The file system is
  // not made to look whether its own facts are still true.
  std::uint64_t mountOf(const char* link) const;

 private:
  Descriptor folder_;
};

// The numbers of all processes that can be seen, ascending.
std::vector<std::int64_t> processNumbers();

// How people know a program: the name that it gave itself, in full where the kernel has cut it.
std::string programName(const ProcessFolder& process);

// One of the user's own processes.
struct Process {
  std::int64_t identifier = 0;
  std::int64_t parent = 0;
  std::string executable;  // the name under which it was opened, also when it was replaced since
};

std::vector<Process> ownProcesses();

// Those that `matches` and no ancestor of which does: a program of many processes once.
std::vector<Process> leadingProcesses(const std::vector<Process>& all,
                                      const std::function<bool(const Process&)>& matches);

// Sends a signal to the process if it still `matches`; another that took its number over in the
// meantime is not touched. false when it was not sent.
bool signalProcess(std::int64_t identifier, int signal,
                   const std::function<bool(const Process&)>& matches);

}  // namespace platform
