#include "menu/Menu.h"

namespace menu {

MenuItemPtr MenuItem::separatorItem() {
  auto item = std::make_shared<MenuItem>();
  item->isSeparator = true;
  item->isEnabled = false;
  return item;
}

MenuItemPtr MenuItem::qv_menuItem(std::string title, Action action, std::any representedObject,
                                  bool isEnabled) {
  return qv_menuItem(std::move(title), std::move(action), std::move(representedObject), 0,
                     isEnabled);
}

MenuItemPtr MenuItem::qv_menuItem(std::string title, Action action, std::any representedObject,
                                  std::int64_t tag, bool isEnabled) {
  auto item = std::make_shared<MenuItem>();
  item->title = std::move(title);
  item->action = std::move(action);
  item->representedObject = std::move(representedObject);
  item->tag = tag;
  item->isEnabled = isEnabled;
  return item;
}

// The action may rebuild the menu that the item is in.
void MenuItem::click() {
  if (!isEnabled || !action) return;
  const auto self = weak_from_this().lock();
  const auto perform = action.perform;
  perform(*this);
}

MenuItemPtr MenuItem::copy() const {
  auto copied = std::make_shared<MenuItem>(*this);
  copied->view = nullptr;
  copied->isHighlighted = false;
  return copied;
}

void Menu::addItem(MenuItemPtr item) {
  item->menu = weak_from_this();
  items_.push_back(std::move(item));
}

void Menu::needsUpdate() {
  if (const auto told = delegate()) told->menuNeedsUpdate(*this);
}

void Menu::willOpen() {
  if (const auto told = delegate()) told->menuWillOpen(*this);
}

void Menu::didClose() {
  if (const auto told = delegate()) told->menuDidClose(*this);
}

}  // namespace menu
