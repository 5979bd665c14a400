#pragma once
// Menus as data. A controller builds them, a shell shows them; neither knows the other. Main
// thread only.

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Canvas.h"

namespace menu {

class Menu;
class MenuItem;
class View;
using MenuPtr = std::shared_ptr<Menu>;
using MenuItemPtr = std::shared_ptr<MenuItem>;
using ViewPtr = std::shared_ptr<View>;

// Who fills menus and hears of their showing.
class MenuDelegate {
 public:
  virtual ~MenuDelegate() = default;
  virtual void menuNeedsUpdate(Menu& menu) = 0;  // it is about to be shown
  virtual void menuWillOpen(Menu& /*menu*/) {}
  virtual void menuDidClose(Menu& /*menu*/) {}
};

// What a click on an item does. The name is for tests, logs and reports.
struct Action {
  std::string name{};  // such as "mi_statusEject:", empty for none
  std::function<void(MenuItem&)> perform{};

  explicit operator bool() const { return static_cast<bool>(perform); }
};

// The action that calls a method of `target`, which it does not keep alive.
template <class Target>
Action action(const std::shared_ptr<Target>& target, std::string name,
              void (Target::*method)(MenuItem&)) {
  return {std::move(name), [weak = std::weak_ptr(target), method](MenuItem& item) {
            if (const auto alive = weak.lock()) (*alive.*method)(item);
          }};
}

// One line of a menu. Held by a shared pointer.
class MenuItem : public std::enable_shared_from_this<MenuItem> {
 public:
  virtual ~MenuItem() = default;

  static MenuItemPtr separatorItem();
  static MenuItemPtr qv_menuItem(std::string title, Action action, std::any representedObject,
                                 bool isEnabled);
  static MenuItemPtr qv_menuItem(std::string title, Action action, std::any representedObject,
                                 std::int64_t tag, bool isEnabled);

  // What a click does; nothing for a disabled item.
  void click();

  // An item of the same class and values for another menu. It has no view, which belongs to one
  // item, and shares its submenu.
  virtual MenuItemPtr copy() const;

  // The represented object as a T, a default-made T where it is another thing.
  template <class T>
  T represented() const {
    const T* object = std::any_cast<T>(&representedObject);
    return object != nullptr ? *object : T{};
  }

  bool isSeparator = false;
  std::string title;
  Action action;
  std::any representedObject;
  std::int64_t tag = 0;
  bool isEnabled = true;
  std::optional<std::string> toolTip;
  platform::ImagePtr image;  // 16 points
  int indentationLevel = 0;
  bool isDestructive = false;  // deletes at once: the user chooses it, a menu that opens never does
  ViewPtr view;                // drawn in place of title and image
  MenuPtr submenu;             // filled when it is about to open
  std::weak_ptr<Menu> menu;    // that it was added to last
  // The shell's to set: under the pointer, or reached by the keyboard. Views draw accordingly.
  bool isHighlighted = false;
};

// An ordered list of items. Its delegate is not kept alive.
class Menu : public std::enable_shared_from_this<Menu> {
 public:
  explicit Menu(std::string title = {}) : title_(std::move(title)) {}
  virtual ~Menu() = default;
  Menu(const Menu&) = delete;
  Menu& operator=(const Menu&) = delete;

  // A menu of the class that it is called for: Menu or one derived from it.
  template <class Class>
  static std::shared_ptr<Class> qv_menuWithTitle(std::string title,
                                                 const std::shared_ptr<MenuDelegate>& delegate,
                                                 bool autoenablesItems) {
    auto made = std::make_shared<Class>(std::move(title));
    made->setDelegate(delegate);
    made->autoenablesItems = autoenablesItems;
    return made;
  }

  const std::string& title() const { return title_; }
  const std::vector<MenuItemPtr>& items() const { return items_; }
  MenuItemPtr qv_lastItem() const { return items_.empty() ? nullptr : items_.back(); }
  void addItem(MenuItemPtr item);
  void removeAllItems() { items_.clear(); }

  // Without a delegate of its own a menu that fills itself is its own.
  void setDelegate(const std::shared_ptr<MenuDelegate>& delegate) { delegate_ = delegate; }
  virtual std::shared_ptr<MenuDelegate> delegate() { return delegate_.lock(); }

  // --- The shell's, in this order: before the menu is shown, and when it is gone again. The menu
  // may be emptied and its items replaced only in needsUpdate().
  void needsUpdate();
  void willOpen();
  void didClose();

  // What the menu would show is another than when it was filled last. A shell that shows it, or has
  // handed it on, while it is not open fills it anew.
  void setNeedsUpdate() const {
    if (becameOutdated) becameOutdated();
  }
  std::function<void()> becameOutdated;  // the shell's to set

  bool autoenablesItems = true;
  platform::Font font{};

 private:
  const std::string title_;
  std::vector<MenuItemPtr> items_;
  std::weak_ptr<MenuDelegate> delegate_;
};

// A menu that belongs to some object.
class QVNSMenuRepresentedObject : public Menu {
 public:
  using Menu::Menu;

  const std::any& repObject() const { return repObject_; }
  void setRepObject(std::any object) { repObject_ = std::move(object); }

 private:
  std::any repObject_;
};

// A menu that a block fills when it is opened for the first time; then it keeps its items. It is
// its own delegate unless it is given another one.
class QVNSMenuLoaderBk : public Menu, public MenuDelegate {
 public:
  using LoaderBk = std::function<void(Menu&)>;
  using Menu::Menu;

  // A menu of the class that it is called for: this one or one derived from it.
  template <class Class = QVNSMenuLoaderBk>
  static std::shared_ptr<Class> menuWithTitle(std::string title, bool autoenablesItems,
                                              LoaderBk loaderBk) {
    auto made = std::make_shared<Class>(std::move(title));
    made->autoenablesItems = autoenablesItems;
    made->setLoaderBk(std::move(loaderBk));
    return made;
  }

  // With the items, the block and the represented object, and to be filled anew. Submenus are
  // shared.
  std::shared_ptr<QVNSMenuLoaderBk> copy() const;

  std::shared_ptr<MenuDelegate> delegate() override;
  void menuNeedsUpdate(Menu& menu) override;

  const std::any& representedObject() const { return representedObject_; }
  void setRepresentedObject(std::any object) { representedObject_ = std::move(object); }

 protected:
  void setLoaderBk(LoaderBk loaderBk) { loaderBk_ = std::move(loaderBk); }
  // An empty menu of the object's own class and title.
  virtual std::shared_ptr<QVNSMenuLoaderBk> emptyCopy() const;

 private:
  LoaderBk loaderBk_;
  bool isLoaded_ = false;
  std::any representedObject_;
};

// An item whose action is a block. Held by a shared pointer, as every item.
class QVNSMenuItemBk : public MenuItem {
 public:
  using ActionBk = std::function<void(MenuItem&)>;

  // A click calls the block with the item.
  void setActionBk(ActionBk block);
  MenuItemPtr copy() const override;
  void mi_performMyAction(MenuItem& sender) const;

 private:
  ActionBk actionBk_;
};

}  // namespace menu
