#pragma once

#include <QBasicTimer>
#include <QMenu>
#include <QWidget>
#include <memory>
#include <vector>

#include "menu/Menu.h"
#include "platform/qt/shell/MenuLook.h"

namespace platform::qt {

// A menu of ours as the toolkit's. It is filled anew every time it opens, and so are its submenus.
// Of a long one only what is near is made; the rest follows as the user comes to it. What is
// clicked runs after all menus have closed.
class PopupMenu : public QMenu {
 public:
  explicit PopupMenu(menu::MenuPtr shown, PopupMenu* parentMenu = nullptr);
  ~PopupMenu() override;

  // Part of a window: it opens and closes with that, and stays when something was chosen.
  void embedIn(QWidget* window);
  void openEmbedded();
  void refresh();  // while it is open

  // Has the menu filled and shows what it holds now.
  void rebuild();

  // The action of an item, null when it is not made yet. And the other way round.
  QAction* actionOf(const menu::MenuItem& item) const;
  menu::MenuItemPtr itemOf(const QAction* action) const;
  // For pictures: draws the row of this action as if it were chosen.
  void showChosen(const QAction* action) { chosen_ = action; }

  void setVisible(bool visible) override;
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  class Row;

  void opens();
  void closed();
  void empty();
  void makeUpTo(std::size_t count);
  void makeNext();
  void makeAhead();
  std::unique_ptr<QAction> made(const menu::MenuItemPtr& item);
  std::unique_ptr<QAction> madeRow(const menu::MenuItemPtr& item);
  void dress(QAction& action, const menu::MenuItemPtr& item);
  void makeForKey(const QKeyEvent& event);
  void goToEnd(bool toFirst);
  void chooseHarmless();
  void keepTurning();
  // Closes all and clicks, where the chosen item has a submenu too.
  bool runChosen();

  const menu::MenuPtr menu_;
  PopupMenu* const parent_;
  QWidget* window_ = nullptr;
  std::vector<menu::MenuItemPtr> items_;  // as they were when it opened
  std::vector<std::unique_ptr<PopupMenu>> submenus_;
  std::vector<std::unique_ptr<QAction>> actions_;  // of the first items
  std::vector<Row*> rows_;                         // owned by their actions
  Icons icons_;
  QBasicTimer spinning_;
  const QAction* chosen_ = nullptr;
  bool isOpen_ = false;
  bool isGrowing_ = false;
  bool wasPressed_ = false;
  bool growsSoon_ = false;
};

// The menu as a small window, for desktops without a tray. Closing it ends nothing. What it shows
// is brought up to date whenever the user comes to it, after every choice, and when told to.
class MenuWindow : public QWidget {
 public:
  explicit MenuWindow(const menu::MenuPtr& menu);

  void showIcon(const QIcon& icon) { setWindowIcon(icon); }
  PopupMenu& menu() { return *menu_; }
  // Not under an open submenu.
  void refresh();

 protected:
  bool event(QEvent* event) override;

 private:
  std::unique_ptr<PopupMenu> menu_;
};

}  // namespace platform::qt
