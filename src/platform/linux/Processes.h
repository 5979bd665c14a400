#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// One of the user's own processes.
struct Process {
  std::int64_t identifier = 0;
  std::int64_t parent = 0;
  std::string executable;  // the name under which it was opened, also when it was replaced since
};

// nullopt for a process that has ended or belongs to somebody else.
std::optional<Process> ownProcess(std::int64_t identifier);
std::vector<Process> ownProcesses();

// Those that `matches` and no ancestor of which does: a program of many processes once.
std::vector<Process> leadingProcesses(const std::vector<Process>& all,
                                      const std::function<bool(const Process&)>& matches);

// Sends a signal to the process if it still `matches`; another that took its number over in the
// meantime is not touched. false when it was not sent.
bool signalProcess(std::int64_t identifier, int signal,
                   const std::function<bool(const Process&)>& matches);

}  // namespace platform
