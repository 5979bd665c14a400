#pragma once
// What the menu's items and the status item look like, whichever way they are shown: drawn by us,
// by a panel for the X tray, or by a desktop that gets no more than pictures and lines of text.

#include <QIcon>
#include <QPainter>
#include <QPixmap>
#include <QString>
#include <map>

#include "menu/Menu.h"
#include "menu/View.h"

namespace platform::qt {

// One line, indented, in full: the title, or what is said of the view in its place.
QString lineOf(const menu::MenuItem& item);

// After what is going on now: the menu that it was clicked in is closed, and may be emptied.
void clickLater(const menu::MenuItemPtr& item);

// Draws the view with its top left corner at the painter's origin.
void paintView(QPainter& painter, menu::View& view);

// The view at a scale: pixels for a point.
QPixmap pictureOf(menu::View& view, double scale);

// What goes out beside an item's line of text, as a PNG; empty for nothing. Of a row it is one
// small square: the disk's icon, with the pie or spinner that stands before it over the lower left
// corner.
QByteArray pngOfRow(menu::View& row);
QByteArray pngOf(const ImagePtr& image);

// The icon of an image in points, at the scales that there are. Images are shared by many rows of a
// menu; each is drawn once for as long as one of these lives.
class Icons {
 public:
  QIcon iconOf(const ImagePtr& image);
  void clear() { made_.clear(); }

 private:
  std::map<ImagePtr, QIcon> made_;
};

}  // namespace platform::qt
