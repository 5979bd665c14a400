#pragma once
// A status bar that shows nothing and counts what it is asked for.

#include <memory>
#include <utility>

#include "menu/StatusBar.h"
#include "menu/StatusItemView.h"

class StatusItemDouble : public menu::StatusItem {
 public:
  void setMenu(menu::MenuPtr given) override { menu = std::move(given); }
  void setView(std::shared_ptr<menu::StatusItemView> given) override { view = std::move(given); }
  void popUpStatusItemMenu() override { ++popUps; }

  menu::MenuPtr menu;
  std::shared_ptr<menu::StatusItemView> view;
  int popUps = 0;
};

class StatusBarDouble : public menu::StatusBar {
 public:
  std::shared_ptr<menu::StatusItem> statusItemWithLength(double given) override {
    length = given;
    return item;
  }
  void activateIgnoringOtherApps() override { ++activations; }
  void terminate() override { ++terminations; }

  std::shared_ptr<StatusItemDouble> item = std::make_shared<StatusItemDouble>();
  double length = 0;
  int activations = 0;
  int terminations = 0;
};
