#pragma once
// The real shell on a display and a session bus of the tests' own, used as its user would.

#include <gtest/gtest.h>

#include <QApplication>
#include <QPoint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/PrivateBus.h"

// A program that ends with it.
class Running {
 public:
  // What it writes to descriptor 9 first is told(), if it is asked for.
  Running(std::vector<std::string> command, bool tells);
  ~Running();
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  const std::string& told() const { return told_; }

 private:
  pid_t process_ = 0;
  std::string told_;
};

// One for all cases: a display with a screen of 1280 by 1024 and the application object.
class Desk {
 public:
  static Desk& get();
  ~Desk();

  // For cases that need a bus that nobody was on.
  std::unique_ptr<PrivateBus> bus;

 protected:
  Desk();

 private:
  std::unique_ptr<Running> display_;
  std::unique_ptr<QApplication> application_;
};

class DeskTest : public testing::Test {
 protected:
  DeskTest() : desk_(Desk::get()) {}

  // Lets the program run until it is so. Ten seconds are a failure.
  static bool until(const std::function<bool()>& isSo);

  // xdotool with these words, such as "click 1".
  static void user(const std::string& does);
  static void moveTo(QPoint point);
  static void clickAt(QPoint point, int button = 1);
  static void press(const std::string& key) { user("key " + key); }

  Desk& desk_;
};

// Milliseconds of processor time that this process used so far.
double processorMilliseconds();
// Megabytes that are resident now.
double residentMegabytes();
