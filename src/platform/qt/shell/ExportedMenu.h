#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <map>
#include <optional>

#include "menu/Menu.h"
#include "platform/qt/shell/ExportedItems.h"

namespace platform::qt {

// A menu for desktops that draw the menus of the tray themselves, as com.canonical.dbusmenu. It and
// its submenus are filled when the desktop is about to show them; what was not looked at yet goes
// out as an empty submenu. Rows go out as a picture and a line of text.
class ExportedMenu : public QDBusVirtualObject {
 public:
  static constexpr char kPath[] = "/MenuBar";

  ExportedMenu(QDBusConnection bus, menu::MenuPtr menu);

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;
  QString introspect(const QString& path) const override;

  void outdated() { items_.outdated(); }

 private:
  using Arguments = QVariantList;
  using Answer = std::optional<Arguments>;  // none when it is about items that are not there
  struct Method {
    QString signature;
    Answer (ExportedMenu::*answer)(const Arguments& asked);
  };

  static const std::map<QString, Method>& methods();
  QDBusMessage reply(const QDBusMessage& message);
  Answer getLayout(const Arguments& asked);
  Answer getGroupProperties(const Arguments& asked);
  Answer getProperty(const Arguments& asked);
  Answer aboutToShow(const Arguments& asked);
  Answer aboutToShowGroup(const Arguments& asked);
  Answer event(const Arguments& asked);
  Answer eventGroup(const Arguments& asked);
  bool happened(int id, const QString& name);
  void clicked(int id);
  void tellFilled(int id);
  void tellChanged(const ExportedItems::Changes& changes);
  void tell(const QString& signal, const QVariantList& arguments);

  QDBusConnection bus_;
  ExportedItems items_;
  uint revision_ = 1;
};

}  // namespace platform::qt
