#include "platform/qt/shell/ExportedItems.h"

#include <utility>

#include "menu/View.h"
#include "platform/qt/QtText.h"
#include "platform/qt/shell/MenuTexts.h"

namespace platform::qt {
namespace {

constexpr int kWhole = -1;      // depth
constexpr double kScale = 1.0;  // desktops show them as they come

// An underscore would mark the key of the letter after it.
QString labelOf(const menu::MenuItem& item) {
  QString label = lineOf(item);
  if (item.toolTip && *item.toolTip != item.title)
    label += QStringLiteral(u" \u2013 ") + qtText(*item.toolTip);
  return label.replace(QLatin1Char('_'), QLatin1String("__"));
}

bool isWanted(const QStringList& names, const QString& name) {
  return names.isEmpty() || names.contains(name);
}

// What costs nothing to tell.
QVariantMap plainProperties(const menu::MenuItem& item) {
  if (item.isSeparator) return {{"type", "separator"}, {"visible", true}};
  QVariantMap all = {{"label", labelOf(item)}, {"enabled", item.isEnabled}, {"visible", true}};
  if (item.toolTip) all[QStringLiteral("accessible-desc")] = qtText(*item.toolTip);
  return all;
}

}  // namespace

ExportedItems::ExportedItems(menu::MenuPtr menu, Calls calls) : calls_(std::move(calls)) {
  nodes_[kRoot].menu = std::move(menu);
}

QList<int> ExportedItems::all() const {
  QList<int> ids;
  for (const auto& [id, node] : nodes_) ids.push_back(id);
  return ids;
}

menu::MenuItemPtr ExportedItems::item(int id) const { return nodes_.at(id).item; }

bool ExportedItems::show(int id) {
  if (!nodes_.at(id).menu) return false;
  const bool areOthers = id == kRoot ? fillTop() : fill(id);
  nodes_.at(id).isOpen = true;
  nodes_.at(id).menu->willOpen();
  return areOthers;
}

void ExportedItems::opened(int id) {
  if (!nodes_.at(id).isOpen) show(id);
  isSaidOpen_ = isSaidOpen_ || id == kRoot;
}

void ExportedItems::hide(int id) {
  Node& node = nodes_.at(id);
  for (const int child : node.children) hide(child);
  if (std::exchange(node.isOpen, false)) node.menu->didClose();
  if (id != kRoot) return;
  isSaidOpen_ = false;
  if (isOutdated_) fillTop();
}

void ExportedItems::outdated() {
  const Node& root = nodes_.at(kRoot);
  if (!root.isFilled) return;
  if (isSaidOpen_)
    isOutdated_ = true;
  else if (root.isOpen)
    show(kRoot);
  else
    fillTop();
}

bool ExportedItems::fill(int id) {
  Node& node = nodes_.at(id);
  node.menu->needsUpdate();
  forget(std::exchange(node.children, {}));
  const auto& items = node.menu->items();
  for (const auto& item : items) {
    nodes_[++lastId_] = {item, item->submenu};
    nodes_[lastId_].hasPicture = node.children.size() < kMostPictures;
    node.children.push_back(lastId_);
  }
  node.isFilled = true;
  calls_.filled(id);
  return true;
}

void ExportedItems::forget(const std::vector<int>& ids) {
  for (const int id : ids) {
    const auto node = nodes_.extract(id);
    if (node.mapped().isOpen) node.mapped().menu->didClose();
    forget(node.mapped().children);
  }
}

// A desktop that shows nothing where nothing is would never ask again: the root is filled for it.
BusLayout ExportedItems::layout(int id, int depth, const QStringList& names) {
  if (id == kRoot && !nodes_.at(kRoot).isFilled) fillTop();
  return layoutOf(id, depth, names);
}

BusLayout ExportedItems::layoutOf(int id, int depth, const QStringList& names) {
  BusLayout made{id, properties(id, names), {}};
  if (depth == 0) return made;
  for (const int child : nodes_.at(id).children)
    made.children.push_back(layoutOf(child, depth == kWhole ? kWhole : depth - 1, names));
  return made;
}

QVariantMap ExportedItems::properties(int id, const QStringList& names) {
  const Node& node = nodes_.at(id);
  QVariantMap all;
  if (node.item) all = plainProperties(*node.item);
  if (node.menu) all[QStringLiteral("children-display")] = QStringLiteral("submenu");
  const QString picture = QStringLiteral("icon-data");
  if (node.item && node.hasPicture && isWanted(names, picture)) {
    const auto contents = pictureOfItem(*node.item);
    if (!contents.isEmpty()) all[picture] = contents;
  }
  for (const auto& name : all.keys())
    if (!isWanted(names, name)) all.remove(name);
  return all;
}

QByteArray ExportedItems::pictureOfItem(const menu::MenuItem& item) {
  if (item.view) return pngOf(smallPictureOf(*item.view, kScale));
  if (!item.image) return {};
  const auto [entry, isNew] = pictures_.try_emplace(item.image);
  if (isNew) entry->second = pngOf(pictureOf(item.image, kScale));
  return entry->second;
}

}  // namespace platform::qt
