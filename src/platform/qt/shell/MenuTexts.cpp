#include "platform/qt/shell/MenuTexts.h"

#include <QCoreApplication>
#include <QTimer>

#include "menu/View.h"
#include "platform/qt/QtText.h"
#include "ramdisk/QVRamDisk.h"

namespace platform::qt {
namespace {

constexpr int kSpacesPerLevel = 3;

}  // namespace

QString lineOf(const menu::MenuItem& item) {
  const std::string said = item.view ? item.view->accessibleName() : std::string();
  QString line = qtText(said.empty() ? item.title : said);
  for (auto& character : line)
    if (character < QLatin1Char(' ')) character = QLatin1Char(' ');
  return QString(static_cast<qsizetype>(kSpacesPerLevel) * item.indentationLevel,
                 QLatin1Char(' ')) +
         line;
}

bool clickRuns(const menu::MenuItem& item) {
  if (!item.isEnabled || !item.action) return false;
  const auto disk = item.represented<QVRamDiskPtr>();
  return !item.submenu || !disk || disk->status() == QVRamDiskStatus_mounted;
}

void clickLater(const menu::MenuItemPtr& item) {
  QTimer::singleShot(0, qApp, [item] { item->click(); });
}

}  // namespace platform::qt
