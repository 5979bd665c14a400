#pragma once
// The real shell on a display and a session bus of the tests' own, used as its user would.

#include <QApplication>
#include <QPoint>

#include "tests/support/Desktop.h"
#include "tests/support/DoubleServices.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

// One for all cases: the display and the application object, which can be made once only.
class Desk {
 public:
  Desk();
  static Desk& get();

  PrivateBus bus;
  Desktop screen;

 private:
  std::optional<QApplication> application_;
};

class DeskTest : public testing::Test {
 protected:
  DeskTest() { platform::install(services.services()); }

  // Lets the program run until it is so. Ten seconds are a failure.
  static bool until(const std::function<bool()>& isSo);

  static Desktop& screen() { return Desk::get().screen; }
  static void moveTo(QPoint point) { screen().moveTo(point.x(), point.y()); }
  static void clickAt(QPoint point) { screen().click(point.x(), point.y()); }
  static void press(const std::string& keys) { screen().press(keys); }  // such as "Up Return"

  DoubleServices services{"/nonexistent"};  // a desktop without preferences
};
