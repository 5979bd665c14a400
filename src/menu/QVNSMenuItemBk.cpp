#include "menu/QVNSMenuItemBk.h"

#include <utility>

namespace menu {

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
