#include "system/LoginItems.h"

#include <filesystem>
#include <vector>

#include "core/QVError.h"
#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/QVFunctions.h"

namespace {

using platform::LoginItem;
using platform::services;

enum class Relation { None, Leftover, Own };

bool bearsName(const LoginItem& item, const std::string& application) {
  const std::string file = extensions::lastPathComponent(application);
  return item.displayName == file || item.displayName == std::filesystem::path(file).stem();
}

// An item that cannot be resolved for another reason than a missing program counts for nothing.
Relation relation(const LoginItem& item, const std::string& application) {
  if (!item.stale && !item.path) return Relation::None;
  if (!item.stale && *item.path == application) return Relation::Own;
  return bearsName(item, application) ? Relation::Leftover : Relation::None;
}

std::optional<std::vector<LoginItem>> itemsFor(const QVSharedLoginItems::Path& application) {
  if (!application) return std::nullopt;
  auto items = services().loginItems->snapshot();
  if (items) return *items;
  QVLogError("QVSharedLoginItems", "snapshot==NULL");
  return std::nullopt;
}

void remove(const LoginItem& item) {
  if (const auto done = services().loginItems->remove(item); !done)
    QVLogError("QVSharedLoginItems", "LSSharedFileListItemRemove:{} urlRef:{}", done.error().code,
               QVText(item.path));
}

}  // namespace

bool QVSharedLoginItems::isLoginItem(const Path& application, bool& isValid) {
  isValid = false;
  bool isListed = false;
  const auto items = itemsFor(application);
  if (!items) return false;
  for (const auto& item : *items) {
    const Relation found = relation(item, *application);
    isListed = isListed || found == Relation::Leftover;
    isValid = isValid || found == Relation::Own;
  }
  return isListed || isValid;
}

bool QVSharedLoginItems::addLoginItem(const Path& application) {
  const auto items = itemsFor(application);
  if (!items) return false;
  bool isPresent = false;
  for (const auto& item : *items) {
    const Relation found = relation(item, *application);
    if (found == Relation::Leftover) remove(item);
    isPresent = isPresent || found == Relation::Own;
  }
  return isPresent || services().loginItems->insertHiddenAtEnd(*application);
}

bool QVSharedLoginItems::removeLoginItem(const Path& application) {
  const auto items = itemsFor(application);
  if (!items) return false;
  bool wasAttempted = false;
  for (const auto& item : *items) {
    if (relation(item, *application) == Relation::None) continue;
    remove(item);
    wasAttempted = true;
  }
  return wasAttempted;
}

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
