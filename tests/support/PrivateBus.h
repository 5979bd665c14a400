#pragma once

#include <string>
#include <vector>

#include "tests/support/Companion.h"
#include "tests/support/Scratch.h"

// A message bus of the test's own: a real daemon at an address that stays the same when it is
// stopped and started again. Anybody may own any name and connect.
class PrivateBus {
 public:
  // `command` is put before the daemon's, to run it as somebody else.
  explicit PrivateBus(std::vector<std::string> command = {});
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  std::string address() const { return "unix:path=" + folder_.path("open/bus"); }

  void start();  // returns when it takes connections
  void stop();
  void hang() const;  // it keeps its connections and answers no more
  void goOn() const;

 private:
  Scratch folder_;
  std::vector<std::string> command_;
  Companion daemon_;
};
