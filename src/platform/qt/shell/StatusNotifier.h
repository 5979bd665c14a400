#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QDBusVirtualObject>
#include <functional>
#include <memory>

#include "menu/StatusItemView.h"
#include "platform/qt/shell/BusMessages.h"
#include "platform/qt/shell/ExportedMenu.h"

namespace platform::qt {

// The item in a tray that speaks StatusNotifierItem. It offers itself to whatever watcher there is,
// now or later, and again to each that follows. Nothing polls.
class StatusNotifier : public QDBusVirtualObject {
  Q_OBJECT

 public:
  static constexpr char kPath[] = "/StatusNotifierItem";

  struct Calls {
    std::function<void()> hostsChanged;         // hasHost() may have another answer
    std::function<void(QPoint)> activated;      // clicked, at a place on the screen
    std::function<void(QPoint)> contextWanted;  // clicked with the other button
  };

  // `itemIsMenu`: the desktop draws the menu.
  StatusNotifier(QDBusConnection bus, bool itemIsMenu, Calls calls);
  ~StatusNotifier() override;

  // Begins to offer itself. The first answer comes with hostsChanged().
  void start(const std::shared_ptr<menu::StatusItemView>& view, const menu::MenuPtr& menu);
  void viewChanged();
  void menuOutdated();

  // Some tray shows the item.
  bool hasHost() const { return hasHost_; }
  // It was found out whether one does.
  bool isKnown() const { return isKnown_; }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;
  QString introspect(const QString& path) const override;

 private Q_SLOTS:
  void look();

 private:
  void offer();
  void found(bool host);
  void perform(const QString& member, const QVariantList& arguments) const;
  QVariantMap properties() const;
  QString status() const;
  QString warning() const;  // empty for none
  void tell(const QString& signal, const QVariantList& arguments = {});

  QDBusConnection bus_;
  const bool itemIsMenu_;
  const Calls calls_;
  const QString name_;
  QDBusServiceWatcher watcher_;
  std::shared_ptr<menu::StatusItemView> view_;
  std::unique_ptr<ExportedMenu> menu_;
  bool hasHost_ = false;
  bool isKnown_ = false;
  QString toldStatus_;
};

}  // namespace platform::qt
