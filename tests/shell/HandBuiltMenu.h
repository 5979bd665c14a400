#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "menu/Menu.h"
#include "menu/StatusItemView.h"
#include "menu/View.h"

// The row of a disk: a word about it.
class RowView : public menu::View {
 public:
  RowView(std::string name, std::string state)
      : View({0, 0, 260, 40}), name_(std::move(name)), state_(std::move(state)) {
    resizesWithWidth = true;
    addSubview(std::make_shared<menu::TextField>(platform::Rect{60, 12, 180, 18}, name_,
                                                 platform::TextStyle{}));
  }
  std::string accessibleName() const override { return name_ + state_; }

  int drawn = 0;
  bool wasHighlighted = false;

 protected:
  void drawRect(platform::Canvas& canvas) override {
    ++drawn;
    const auto item = enclosingMenuItem.lock();
    wasHighlighted = item && item->isHighlighted;
    if (wasHighlighted)
      canvas.fill(bounds(), platform::Colour::of(platform::Colour::Source::SelectedMenuItem));
  }

 private:
  std::string name_;
  std::string state_;
};

// A status menu with two disks, each with a folder below, that notes what it is asked and told.
class HandBuiltMenu : public menu::MenuDelegate,
                      public std::enable_shared_from_this<HandBuiltMenu> {
 public:
  static std::shared_ptr<HandBuiltMenu> make() {
    auto made = std::make_shared<HandBuiltMenu>();
    made->root = made->menuOf("StatusItemMenu");
    return made;
  }

  void menuNeedsUpdate(menu::Menu& shown) override {
    told.push_back("needsUpdate " + shown.title());
    shown.removeAllItems();
    if (&shown == root.get())
      fillRoot();
    else if (shown.title() == "many")
      fillMany(shown);
    else
      fillDisk(shown);
  }
  void menuWillOpen(menu::Menu& shown) override { told.push_back("willOpen " + shown.title()); }
  void menuDidClose(menu::Menu& shown) override { told.push_back("didClose " + shown.title()); }

  menu::MenuPtr menuOf(const std::string& title) {
    return menu::Menu::qv_menuWithTitle<menu::Menu>(title, shared_from_this(), false);
  }
  menu::MenuItemPtr item(const std::string& title, bool isEnabled = true) {
    return menu::MenuItem::qv_menuItem(
        title, {"mi_note:", [this](menu::MenuItem& sender) { clicked.push_back(sender.title); }},
        {}, isEnabled);
  }
  menu::MenuItemPtr disk(const std::string& name) {
    auto made = item(name);
    row = std::make_shared<RowView>(name, state);
    row->enclosingMenuItem = made;
    made->view = row;
    made->toolTip = tip;
    made->submenu = menuOf("disk " + name);
    return made;
  }

  void fillRoot() {
    root->addItem(item("Open Tarnvale"));
    root->addItem(menu::MenuItem::separatorItem());
    root->addItem(item("Free: 3_1 GB & more", false));
    root->items().back()->indentationLevel = 2;
    for (int i = 0; i < disks; ++i) root->addItem(disk("Disk" + std::to_string(i + 1)));
    auto folder = item("many");
    folder->submenu = menuOf("many");
    root->addItem(folder);
    root->addItem(item("Quit"));
  }
  void fillDisk(menu::Menu& shown) {
    shown.addItem(item("Eject", false));
    shown.items().back()->toolTip = "Browser is running";
    shown.addItem(item("Rebuild"));
  }
  void fillMany(menu::Menu& shown) {
    shown.addItem(item("Remove this Folder"));
    shown.items().back()->isDestructive = true;
    shown.addItem(menu::MenuItem::separatorItem());
    for (int i = 0; i < entries; ++i) shown.addItem(item("entry " + std::to_string(i)));
  }

  menu::MenuPtr root;
  std::shared_ptr<RowView> row;  // of the disk made last
  int disks = 2;
  std::string state = ", mounted, 42 % full";
  std::optional<std::string> tip;  // of each disk
  int entries = 10'000;
  std::vector<std::string> told;
  std::vector<std::string> clicked;
};
