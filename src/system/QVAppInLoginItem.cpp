#include "system/QVAppInLoginItem.h"

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "platform/Services.h"
#include "system/QVFunctions.h"
#include "system/QVSharedLoginItems.h"

namespace {

using platform::services;

constexpr char kAccountsPane[] = "/System/Library/PreferencePanes/Accounts.prefPane";
constexpr std::size_t kOpenPreferences = 1;  // index of the button

platform::Alert instructions() {
  const std::string name = QVFunctions::appName();
  return {QVLocalizedFormat("Relaunch %@ on Login.", {name}),
          QVLocalizedFormat("Drag & Drop %@ to \"Login Items\" section of Accounts Preferences.",
                            {name}),
          {QVLocalized("Ok"), QVLocalized("Open Accounts Preferences")}};
}

void howToDidEnd(std::size_t button) {
  if (button != kOpenPreferences) return;
  if (services().files->kind(kAccountsPane) == platform::FileKind::Missing) return;
  services().workspace->open(kAccountsPane);
}

}  // namespace

std::int64_t QVAppInLoginItem::loginItemStatus() {
  bool isValid = false;
  const auto path = services().applications->pathOfApplication(services().bundle->identifier());
  if (!QVSharedLoginItems::isLoginItem(path, isValid)) return 0;
  return isValid ? 1 : -1;
}

void QVAppInLoginItem::setIsLoginItem(bool /*isLoginItem*/, const Window& sender) {
  showHowTo(sender);
}

void QVAppInLoginItem::showHowTo(const Window& window) {
  if (!window) QVLogCriticalException("QVAppInLoginItem", "window==nil");
  const platform::Alert alert = instructions();
  if (!services().alerts->runAsSheet(alert, window, howToDidEnd))
    services().alerts->runModal(alert);
}
