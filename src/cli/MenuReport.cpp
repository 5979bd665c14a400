#include "cli/MenuReport.h"

#include "cli/Columns.h"
#include "cli/JsonWriter.h"
#include "menu/View.h"

namespace cli {
namespace {

using menu::Menu;
using menu::MenuItem;
using menu::MenuPtr;

constexpr int kIndentation = 2;  // columns a level

// What the view says stands for the title that it covers.
std::string shownText(const MenuItem& item) {
  const std::string text = item.view ? item.view->accessibleName() : "";
  return text.empty() ? item.title : text;
}

std::string disabledMark(const MenuItem& item) {
  if (item.isEnabled) return "";
  return item.toolTip ? " (disabled: " + *item.toolTip + ")" : " (disabled)";
}

std::string lineOf(const MenuItem& item) {
  if (item.isSeparator) return "---";
  return printable(shownText(item) + disabledMark(item)) + (item.submenu ? " >" : "");
}

void writeItems(std::ostream& out, const Menu& menu, const MenuPtr& opened, int level) {
  for (const auto& item : menu.items()) {
    const int columns = kIndentation * (level + item->indentationLevel);
    out << std::string(static_cast<std::size_t>(columns), ' ') << lineOf(*item) << '\n';
    if (opened && item->submenu == opened) writeItems(out, *opened, nullptr, level + 1);
  }
}

void writeItems(JsonWriter& json, const Menu& menu, const MenuPtr& opened);

void writeItem(JsonWriter& json, const MenuItem& item, const MenuPtr& opened) {
  json.beginObject();
  json.flag("separator", item.isSeparator);
  if (!item.isSeparator) {
    json.member("text", shownText(item));
    json.flag("enabled", item.isEnabled);
    json.member("indentation", static_cast<std::uint64_t>(item.indentationLevel));
    json.member("action", item.action ? std::optional(item.action.name) : std::nullopt);
    json.member("toolTip", item.toolTip);
    json.flag("hasSubmenu", item.submenu != nullptr);
  }
  if (opened && item.submenu == opened) {
    json.key("submenu");
    writeItems(json, *opened, nullptr);
  }
  json.endObject();
}

void writeItems(JsonWriter& json, const Menu& menu, const MenuPtr& opened) {
  json.beginArray();
  for (const auto& item : menu.items()) writeItem(json, *item, opened);
  json.endArray();
}

}  // namespace

void writeMenu(std::ostream& out, const Menu& menu, const MenuPtr& opened) {
  writeItems(out, menu, opened, 0);
}

void writeMenuJson(std::ostream& out, const Menu& menu, const MenuPtr& opened) {
  JsonWriter json(out);
  writeItems(json, menu, opened);
  out << '\n';
}

}  // namespace cli
