#pragma once
// What the command line tells its caller, and why it refused.

#include <string>

namespace cli {

enum ExitStatus : int {
  kDone = 0,
  kActionFailed = 1,  // also a registry that cannot be read or written
  kWrongUsage = 2,
  kNoSuchDisk = 3,
  kRefused = 4,  // by validation or for a disk in use, before anything was changed
};

// Why a command does not do what it was asked for, and what to do about it. Nothing was changed.
struct Refusal {
  ExitStatus status = kRefused;
  std::string what;
  std::string todo;  // empty where there is nothing to advise
};

// The status of several disks together: the common one, or kActionFailed for different failures.
inline int combined(int before, int now) {
  if (before == kDone || before == now) return now;
  return now == kDone ? before : static_cast<int>(kActionFailed);
}

}  // namespace cli
