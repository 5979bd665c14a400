#include "menu/QVNSMenuLoaderBk.h"

namespace menu {

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

}  // namespace menu
