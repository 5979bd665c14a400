#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "leaf/Descriptor.h"
#include "tests/support/PrivateBus.h"

// logind on a private bus, as far as delay locks go: it grants them, announces, and goes on when
// all are released or its longest delay is over.
class LogindDouble {
 public:
  LogindDouble(const std::string& address, std::chrono::milliseconds longestDelay);

  // "what/who/why/mode" of each lock ever granted, in order.
  std::vector<std::string> granted();
  std::size_t held();  // locks that nobody released

  // `what` is "Shutdown" or "Sleep".
  void announce(const std::string& what);
  bool goesOn();  // after announce()
  void isOver(const std::string& what);

  std::atomic<bool> refuses{false};

 private:
  struct Lock {
    std::string text;
    Descriptor end;  // hangs up when the holder closes its own
  };

  int answer(sd_bus_message* message);
  int grant(sd_bus_message* message);
  void prepare(const std::string& what, bool begins);

  const std::chrono::milliseconds longestDelay_;
  std::chrono::steady_clock::time_point announced_;
  std::mutex mutex_;  // guards what follows
  std::vector<Lock> locks_;
  BusService service_;
};
