#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/linux/Bus.h"
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

// A service on a bus, until it goes: answers what is called on its object with `answer`, which runs
// on a thread of the bus's and gives what a handler of sd-bus does.
class BusService {
 public:
  BusService(const std::string& address, std::string name, std::string path,
             std::function<int(sd_bus_message*)> answer);

  void perform(const platform::Bus::Work& work);  // and waits for it
  void sendSignal(const std::string& interface, const std::string& signal,
                  const std::function<int(sd_bus_message*)>& append);

 private:
  const std::string name_;
  const std::string path_;
  const std::function<int(sd_bus_message*)> answer_;
  platform::Bus bus_;
};
