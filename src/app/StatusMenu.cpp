#include "app/StatusMenu.h"

namespace app {

MenuFactory statusMenuFactory(std::shared_ptr<menu::StatusBar> statusBar) {
  return [bar = std::move(statusBar)]() -> std::shared_ptr<Menu> {
    return bar ? std::make_shared<StatusMenu>(StatusMenuController::init(bar)) : nullptr;
  };
}

}  // namespace app
