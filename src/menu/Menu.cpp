#include "menu/Menu.h"

#include <utility>

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

std::shared_ptr<QVNSMenuLoaderBk> QVNSMenuLoaderBk::emptyCopy() const {
  return std::make_shared<QVNSMenuLoaderBk>(title());
}

std::shared_ptr<QVNSMenuLoaderBk> QVNSMenuLoaderBk::copy() const {
  auto copied = emptyCopy();
  copied->autoenablesItems = autoenablesItems;
  copied->font = font;
  copied->loaderBk_ = loaderBk_;
  copied->representedObject_ = representedObject_;
  for (const auto& item : items()) copied->addItem(item->copy());
  return copied;
}

std::shared_ptr<MenuDelegate> QVNSMenuLoaderBk::delegate() {
  if (auto other = Menu::delegate()) return other;
  return {shared_from_this(), static_cast<MenuDelegate*>(this)};
}

void QVNSMenuLoaderBk::menuNeedsUpdate(Menu& menu) {
  if (isLoaded_) return;
  isLoaded_ = true;
  removeAllItems();
  if (loaderBk_) loaderBk_(menu);
}

// The item is its own target: the action finds it in the item that is clicked, so that it need not
// hold itself.
void QVNSMenuItemBk::setActionBk(ActionBk block) {
  actionBk_ = std::move(block);
  action = {"mi_performMyAction:", [](MenuItem& sender) {
              if (const auto* self = dynamic_cast<QVNSMenuItemBk*>(&sender))
                self->mi_performMyAction(sender);
            }};
}

MenuItemPtr QVNSMenuItemBk::copy() const {
  auto copied = std::make_shared<QVNSMenuItemBk>(*this);
  copied->view = nullptr;
  copied->isHighlighted = false;
  return copied;
}

// The block may give the item another one.
void QVNSMenuItemBk::mi_performMyAction(MenuItem& sender) const {
  const ActionBk block = actionBk_;
  if (block) block(sender);
}

}  // namespace menu
