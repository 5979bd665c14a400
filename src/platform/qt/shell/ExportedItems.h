#pragma once

#include <functional>
#include <map>
#include <vector>

#include "menu/Menu.h"
#include "platform/qt/shell/BusMessages.h"
#include "platform/qt/shell/MenuLook.h"

namespace platform::qt {

// The items of a menu under the numbers that they have on the bus, as far as they were looked into.
// At the top an item that does the same to the same disk keeps its number, and the pointer that is
// on it; others get new ones: a late click on what was replaced goes nowhere.
class ExportedItems {
 public:
  static constexpr int kRoot = 0;
  // Of a menu; what comes after goes out without, which would be more than a desktop takes.
  static constexpr std::size_t kMostPictures = 500;

  struct Changes {
    QList<BusProperties> set;  // all properties of those that changed
    QList<BusNames> unset;
  };
  struct Calls {
    std::function<void(int)> filled;  // below this item others are now, or in another order
    std::function<void(const Changes&)> changed;
  };
  ExportedItems(menu::MenuPtr menu, Calls calls);

  bool has(int id) const { return nodes_.count(id) != 0; }
  // The number of every item.
  QList<int> all() const;
  menu::MenuItemPtr item(int id) const;  // null for the root

  // Fills what opens there and says that it is shown. Whether there are others below it now.
  bool show(int id);
  // The desktop says that it is shown. Not every one says so, or when it is gone.
  void opened(int id);
  // It and all below are shown no longer.
  void hide(int id);
  // The menu would show other things now. It is filled anew, once it is not said to be shown: a
  // desktop that has it before opens it in its new size.
  void outdated();

  // With `names`, those properties only.
  QVariantMap properties(int id, const QStringList& names);
  // The item with as many levels below it, -1 for all.
  BusLayout layout(int id, int depth, const QStringList& names);

 private:
  struct Node {
    menu::MenuItemPtr item;  // null for the root
    menu::MenuPtr menu;      // what opens there
    std::vector<int> children{};
    bool isFilled = false;
    bool isOpen = false;
    bool hasPicture = true;
    QVariantMap told{};  // of the top: what it had when it was filled last
  };

  bool fill(int id);
  bool fillTop();
  int numberFor(const menu::MenuItemPtr& item, std::vector<int>& known);
  void replace(int id, const menu::MenuItemPtr& item);
  void tellChanges();
  void forget(const std::vector<int>& ids);
  BusLayout layoutOf(int id, int depth, const QStringList& names);
  QByteArray pictureOfItem(const menu::MenuItem& item);

  const Calls calls_;
  std::map<int, Node> nodes_;
  std::map<ImagePtr, QByteArray> pictures_;  // of the images of the menus that are filled
  int lastId_ = kRoot;
  bool isSaidOpen_ = false;  // the root
  bool isOutdated_ = false;
};

}  // namespace platform::qt
