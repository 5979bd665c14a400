#pragma once

#include <functional>

#include "menu/Menu.h"

namespace menu {

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
