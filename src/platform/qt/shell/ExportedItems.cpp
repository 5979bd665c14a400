// The menu's items under their numbers, for a desktop that draws the menu itself.
//
// Between us and what the user sees stands a desktop that keeps a copy. It fetches the layout,
// numbers with properties, and shows that; what it tells us differs. All ask before they show a
// menu (show()). Some say that it opened and closed (opened(), hide()), the ones built on GTK only
// what was clicked. And an open menu of theirs does not grow: it scrolls in the size it had.
//
// Hence two ways of filling. What is below the top is handed out empty, filled when the desktop
// asks for it, and gets new numbers each time: a late click on what was replaced finds no such
// item. The top is what a desktop shows at once, in the size of the copy that it has then. So it is
// filled anew, not only when it opens, but whenever its items would be others (outdated()), once it
// is not said to be open; who only clicks never said that it was, so there is no closing to wait
// for.
//
// Filling the top anew makes new items of the same disks. An item that does the same to the same
// disk keeps its number (doesTheSame()): the pointer may be on it, and the click that follows is
// meant for it. What such an item looks like now is told as changed properties, and a property that
// it has no more by name, since a desktop keeps what it is not told of. Only if other numbers are
// there now, or in another order, must the desktop fetch the layout (Calls::filled).
#include "platform/qt/shell/ExportedItems.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>

#include "menu/View.h"
#include "platform/qt/QtText.h"
#include "platform/qt/shell/MenuLook.h"
#include "ramdisk/QVRamDisk.h"

namespace platform::qt {
namespace {

constexpr int kWhole = -1;  // depth

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

std::string diskOf(const menu::MenuItem& item) {
  const auto disk = item.represented<QVRamDiskPtr>();
  return disk ? disk->identifier().value_or("") : std::string();
}

bool doesTheSame(const menu::MenuItem& one, const menu::MenuItem& other) {
  const auto facts = [](const menu::MenuItem& item) {
    return std::tuple(item.isSeparator, item.action.name, item.tag, diskOf(item),
                      item.submenu == nullptr);
  };
  return facts(one) == facts(other);
}

// Desktops choose the first item of a submenu that a key opens. What deletes at once is handed out
// behind the rest, below a separator of its own.
std::vector<menu::MenuItemPtr> harmlessFirst(std::vector<menu::MenuItemPtr> items) {
  const auto rest = std::find_if(items.begin(), items.end(), [](const auto& item) {
    return !item->isDestructive && !item->isSeparator;
  });
  const auto count = rest - items.begin();
  std::rotate(items.begin(), rest, items.end());
  const auto moved = items.end() - count;
  std::stable_partition(moved, items.end(), [](const auto& item) { return item->isSeparator; });
  return items;
}

QStringList namesOnlyIn(const QVariantMap& some, const QVariantMap& others) {
  QStringList names;
  for (const auto& name : some.keys())
    if (!others.contains(name)) names.push_back(name);
  return names;
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

// --- What the desktop tells

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
  for (const auto& item : harmlessFirst(node.menu->items())) {
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

// --- The top

bool ExportedItems::fillTop() {
  Node& root = nodes_.at(kRoot);
  isOutdated_ = false;
  pictures_.clear();
  root.menu->needsUpdate();
  const auto before = std::exchange(root.children, {});
  auto known = before;
  for (const auto& item : root.menu->items()) root.children.push_back(numberFor(item, known));
  forget(known);
  tellChanges();
  const bool areOthers = !std::exchange(root.isFilled, true) || root.children != before;
  if (areOthers) calls_.filled(kRoot);
  return areOthers;
}

int ExportedItems::numberFor(const menu::MenuItemPtr& item, std::vector<int>& known) {
  const auto same = std::find_if(known.begin(), known.end(), [&](int each) {
    return doesTheSame(*nodes_.at(each).item, *item);
  });
  if (same == known.end()) {
    nodes_[++lastId_] = {item, item->submenu};
    return lastId_;
  }
  const int id = *same;
  known.erase(same);
  replace(id, item);
  return id;
}

// What was below is looked into anew, by a desktop that shows it in the size that it has then.
void ExportedItems::replace(int id, const menu::MenuItemPtr& item) {
  Node& node = nodes_.at(id);
  if (std::exchange(node.isOpen, false)) node.menu->didClose();
  node.item = item;
  node.menu = item->submenu;
  node.isFilled = false;
  const auto below = std::exchange(node.children, {});
  forget(below);
  if (!below.empty()) calls_.filled(id);
}

// Of those that stay; a desktop asks for the others' by itself.
void ExportedItems::tellChanges() {
  Changes changes;
  for (const int id : nodes_.at(kRoot).children) {
    const auto now = properties(id, {});
    const auto before = std::exchange(nodes_.at(id).told, now);
    if (before.isEmpty() || before == now) continue;
    changes.set.push_back({id, now});
    if (const auto lost = namesOnlyIn(before, now); !lost.isEmpty())
      changes.unset.push_back({id, lost});
  }
  if (!changes.set.isEmpty()) calls_.changed(changes);
}

// --- What the desktop fetches

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
  if (item.view) return pngOfRow(*item.view);
  if (!item.image) return {};
  const auto [entry, isNew] = pictures_.try_emplace(item.image);
  if (isNew) entry->second = pngOf(item.image);
  return entry->second;
}

}  // namespace platform::qt
