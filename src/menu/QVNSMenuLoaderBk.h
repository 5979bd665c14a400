#pragma once

#include <any>
#include <functional>
#include <memory>
#include <string>

#include "menu/Menu.h"

namespace menu {

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

}  // namespace menu
