#pragma once

#include <QWidget>
#include <functional>

#include "menu/Menu.h"
#include "menu/View.h"

namespace platform::qt {

// A menu item's view as a row of a menu. The menu gets the mouse: the row only draws.
class MenuRow : public QWidget {
 public:
  // `isHighlighted` is asked whenever it draws.
  MenuRow(menu::MenuItemPtr item, std::function<bool()> isHighlighted);
  ~MenuRow() override;

  QSize sizeHint() const override { return size_; }

  // Moves the spinners that turn by one step. NO when none does.
  bool advance();

  // Called when the view wants to be shown anew: a spinner may have started.
  std::function<void()> changed;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  menu::MenuItemPtr item_;
  menu::ViewPtr view_;
  std::function<bool()> isHighlighted_;
  QSize size_;
};

}  // namespace platform::qt
