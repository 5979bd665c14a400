#pragma once
// Runs the program, and kills it where it was told to.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace soak {

using Words = std::vector<std::string>;
using Microseconds = std::chrono::microseconds;

struct KillPoint {
  std::optional<std::uint64_t> afterCall;  // of the calls that change something, from 1
  Microseconds afterTime{0};               // where no call is named
  bool toolsToo = false;                   // the disk tool that it waits for is killed as well
};

struct Outcome {
  bool killed = false;
  int status = -1;          // the exit status, where it was not killed
  std::uint64_t calls = 0;  // that change something, where they were counted
  Microseconds took{0};
};

// The calling process becomes the parent of whatever its children leave running.
void adoptOrphans();

class Program {
 public:
  // `log` takes what the program says. Throws where a process cannot be started or watched.
  Program(std::string path, std::string log) : path_(std::move(path)), log_(std::move(log)) {}

  Outcome run(const Words& arguments) const;
  Outcome killAfterTime(const Words& arguments, const KillPoint& point) const;

  // With no call named it is watched to its end.
  Outcome killAfterCall(const Words& arguments, const KillPoint& point) const;

  Outcome kill(const Words& arguments, const KillPoint& point) const {
    return point.afterCall ? killAfterCall(arguments, point) : killAfterTime(arguments, point);
  }

 private:
  [[noreturn]] void become(const Words& arguments, bool watched) const;
  int start(const Words& arguments, bool watched) const;

  std::string path_;
  std::string log_;
};

}  // namespace soak
