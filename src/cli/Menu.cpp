// The menu-bar companion's menu as text, as JSON, or as a picture that the companion draws.

#include "cli/DiskNames.h"
#include "cli/Output.h"
#include "cli/Registry.h"
#include "cli/Verbs.h"
#include "extensions/PathExtension.h"
#include "menu/StatusMenuController.h"
#include "menu/View.h"
#include "platform/Services.h"
#include "system/QVFunctions.h"

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

// An item a line, with the row of a disk as its texts, ">" where there is a submenu, and what is
// disabled marked so, with the reason that its tool tip gives. The items of `opened`, which may be
// null, stand below the item that it belongs to.
void writeMenu(std::ostream& out, const Menu& menu, const MenuPtr& opened) {
  writeItems(out, menu, opened, 0);
}

void writeMenuJson(std::ostream& out, const Menu& menu, const MenuPtr& opened) {
  JsonWriter json(out);
  writeItems(json, menu, opened);
  out << '\n';
}

constexpr char kPictureProgram[] = "tarnvale-tray";

// Programs of ours that nobody starts by hand lie beside the disk tools.
std::string pictureProgram() {
  const std::string tool = platform::services().places->tool(platform::Tool::Attacher);
  return extensions::appendingPathComponent(extensions::deletingLastPathComponent(tool),
                                            kPictureProgram);
}

QVFunctions::Arguments pictureArguments(const MenuRequest& request, const QVRamDiskPtr& disk) {
  QVFunctions::Arguments arguments = {"--picture", request.picture};
  if (request.dark) arguments.emplace_back("--dark");
  if (disk && disk->identifier())
    arguments.insert(arguments.end(), {"--open", *disk->identifier()});
  return arguments;
}

// Its words and its status are the command's.
int drawMenu(Context& context, const MenuRequest& request, const QVRamDiskPtr& disk) {
  const std::string program = pictureProgram();
  std::int64_t status = 0;
  std::optional<std::string> out;
  std::optional<std::string> err;
  if (!QVFunctions::executeCommand(program, pictureArguments(request, disk), status, &out, &err))
    return context.refuse(kActionFailed, program + ", which draws the menu, cannot be run",
                          "install the tray companion, or leave --png out for the menu as text");
  context.streams.out << out.value_or("") << std::flush;
  context.streams.err << err.value_or("") << std::flush;
  return static_cast<int>(status);
}

menu::MenuPtr submenuOf(const menu::Menu& menu, const QVRamDiskPtr& disk) {
  for (const auto& item : menu.items())
    if (const auto shown = item->represented<QVRamDiskPtr>(); disk && disk->isEqual(shown))
      return item->submenu;
  return nullptr;
}

int printMenu(Context& context, const MenuRequest& request, const QVRamDiskPtr& disk) {
  const auto controller = StatusMenuController::initForDisplay();
  auto& menu = *controller->statusMenu();
  menu.needsUpdate();
  const auto opened = submenuOf(menu, disk);
  if (opened) opened->needsUpdate();
  (request.json ? writeMenuJson : writeMenu)(context.streams.out, menu, opened);
  context.streams.out.flush();
  return kDone;
}

}  // namespace

int verbs::menu(Context& context, const MenuRequest& request) {
  auto registry = openRegistry(context);
  if (!registry) return registry.error();
  std::vector<std::string> names;
  if (!request.open.empty()) names.push_back(request.open);
  const auto selection = selectDisks(registry->disks(), names);
  if (!selection) return context.refuse(selection.error());
  const auto disk = selection->empty() ? nullptr : selection->front();
  return request.picture.empty() ? printMenu(context, request, disk)
                                 : drawMenu(context, request, disk);
}

}  // namespace cli
