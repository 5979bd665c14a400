#include "platform/qt/shell/MenuPicture.h"

#include <QGuiApplication>
#include <QImageWriter>
#include <QPainter>
#include <algorithm>

#include "platform/qt/QtText.h"
#include "platform/qt/shell/PopupMenu.h"
#include "ramdisk/QVRamDisk.h"

namespace platform::qt {
namespace {

menu::MenuItemPtr itemOfDisk(const menu::Menu& menu, const std::string& identifier) {
  for (const auto& item : menu.items())
    if (const auto disk = item->represented<QVRamDiskPtr>(); disk && item->submenu)
      if (disk->identifier() == identifier) return item;
  return nullptr;
}

QImage emptyPicture(QSize size) {
  const double scale = qGuiApp->devicePixelRatio();
  QImage picture(size * scale, QImage::Format_ARGB32_Premultiplied);
  picture.setDevicePixelRatio(scale);
  picture.fill(Qt::transparent);
  return picture;
}

// A menu that is not shown, laid out as if it were.
void layOut(PopupMenu& popup) {
  popup.rebuild();
  popup.ensurePolished();
  popup.resize(popup.sizeHint());
}

// The submenu stands beside its row, as high as the row's top.
QImage drawn(PopupMenu& popup, PopupMenu* beside, int top) {
  QSize whole = popup.size();
  if (beside != nullptr)
    whole = {whole.width() + beside->width(), std::max(whole.height(), top + beside->height())};
  QImage picture = emptyPicture(whole);
  QPainter painter(&picture);
  popup.render(&painter);
  if (beside != nullptr) beside->render(&painter, QPoint(popup.width(), top));
  return picture;
}

}  // namespace

std::optional<PictureRequest> pictureRequest(const std::vector<std::string>& arguments) {
  PictureRequest request;
  auto next = arguments.begin();
  const auto take = [&](const char* word, std::string* value) {
    const bool isThere = next != arguments.end() && *next == word;
    if (isThere) ++next;
    if (isThere && value != nullptr && next != arguments.end()) *value = *next++;
    return isThere;
  };
  if (!take("--picture", &request.file) || request.file.empty()) return std::nullopt;
  request.dark = take("--dark", nullptr);
  take("--open", &request.open);
  return next == arguments.end() ? std::optional(request) : std::nullopt;
}

std::optional<std::string> drawMenu(const menu::MenuPtr& menu, const PictureRequest& request) {
  PopupMenu popup(menu);
  layOut(popup);
  const auto item = itemOfDisk(*menu, request.open);
  std::unique_ptr<PopupMenu> beside;
  int top = 0;
  if (item) {
    const QAction* action = popup.actionOf(*item);
    popup.showChosen(action);
    top = popup.actionGeometry(const_cast<QAction*>(action)).top();
    beside = std::make_unique<PopupMenu>(item->submenu);
    layOut(*beside);
  }
  QImageWriter writer(qtText(request.file), "png");
  if (writer.write(drawn(popup, beside.get(), top))) return std::nullopt;
  return plainText(writer.errorString());
}

}  // namespace platform::qt
