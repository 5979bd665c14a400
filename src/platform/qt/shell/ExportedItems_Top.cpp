// The top of the menu, which is what a desktop shows first and a pointer waits on.

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>

#include "platform/qt/shell/ExportedItems.h"
#include "ramdisk/QVRamDisk.h"

namespace platform::qt {
namespace {

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

QStringList namesOnlyIn(const QVariantMap& some, const QVariantMap& others) {
  QStringList names;
  for (const auto& name : some.keys())
    if (!others.contains(name)) names.push_back(name);
  return names;
}

}  // namespace

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

}  // namespace platform::qt
