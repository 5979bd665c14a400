#include "tests/soak/Orphans.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/Scratch.h"

namespace soak {
namespace {

// "PID (NAME) STATE PARENT …"; the name may hold anything.
bool isChildOfMine(const std::string& process) {
  const std::string line = readFile("/proc/" + process + "/stat");
  const auto nameEnd = line.rfind(')');
  if (nameEnd == std::string::npos || nameEnd + 4 > line.size()) return false;
  int parent = 0;
  std::from_chars(line.data() + nameEnd + 4, line.data() + line.size(), parent);
  return parent == getpid();
}

std::vector<pid_t> children() {
  std::vector<pid_t> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    pid_t process = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
    if (error == std::errc() && *end == '\0' && isChildOfMine(name)) found.push_back(process);
  }
  return found;
}

}  // namespace

void adoptOrphans() { prctl(PR_SET_CHILD_SUBREAPER, 1); }

bool endOrphans(bool kill) {
  int status = 0;
  pid_t ended = waitpid(-1, &status, WNOHANG);
  if (ended < 0) return false;
  if (kill && ended == 0)
    for (const pid_t child : children()) ::kill(child, SIGKILL);
  while (waitpid(-1, &status, 0) > 0) {
  }
  return true;
}

}  // namespace soak
