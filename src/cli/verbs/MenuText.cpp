#include <CLI/CLI.hpp>

#include "cli/DiskNames.h"
#include "cli/MenuReport.h"
#include "cli/Registry.h"
#include "cli/verbs/Verbs.h"
#include "extensions/PathExtension.h"
#include "menu/StatusMenuController.h"
#include "platform/Services.h"
#include "system/QVFunctions.h"

namespace cli::verbs {
namespace {

constexpr char kPictureProgram[] = "tarnvale-tray";

struct MenuTextOptions {
  std::string open;     // a disk, empty for none
  std::string picture;  // a file, empty for text
  bool dark = false;
  bool json = false;
};

// Programs of ours that nobody starts by hand lie beside the disk tools.
std::string pictureProgram() {
  const std::string tool = platform::services().places->tool(platform::Tool::Attacher);
  return extensions::appendingPathComponent(extensions::deletingLastPathComponent(tool),
                                            kPictureProgram);
}

QVFunctions::Arguments pictureArguments(const MenuTextOptions& options, const QVRamDiskPtr& disk) {
  QVFunctions::Arguments arguments = {"--picture", options.picture};
  if (options.dark) arguments.emplace_back("--dark");
  if (disk && disk->identifier())
    arguments.insert(arguments.end(), {"--open", *disk->identifier()});
  return arguments;
}

// Its words and its status are the command's.
int draw(Context& context, const MenuTextOptions& options, const QVRamDiskPtr& disk) {
  const std::string program = pictureProgram();
  std::int64_t status = 0;
  std::optional<std::string> out;
  std::optional<std::string> err;
  if (!QVFunctions::executeCommand(program, pictureArguments(options, disk), status, &out, &err))
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

int print(Context& context, const MenuTextOptions& options, const QVRamDiskPtr& disk) {
  const auto controller = StatusMenuController::initForDisplay();
  auto& menu = *controller->statusMenu();
  menu.needsUpdate();
  const auto opened = submenuOf(menu, disk);
  if (opened) opened->needsUpdate();
  (options.json ? writeMenuJson : writeMenu)(context.streams.out, menu, opened);
  context.streams.out.flush();
  return kDone;
}

int menuText(Context& context, const MenuTextOptions& options) {
  int status = kDone;
  const auto registry = openRegistry(context, status);
  if (!registry) return status;
  std::vector<std::string> names;
  if (!options.open.empty()) names.push_back(options.open);
  const auto selection = selectDisks(registry->disks(), names);
  if (selection.refusal) return context.refuse(*selection.refusal);
  const auto disk = selection.disks.empty() ? nullptr : selection.disks.front();
  return options.picture.empty() ? print(context, options, disk) : draw(context, options, disk);
}

}  // namespace

void menuText(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<MenuTextOptions>();
  auto* verb = app.add_subcommand("menu", "Show what the menu-bar companion shows");
  verb->add_option("--open", options->open, "With what can be done to this disk")
      ->type_name("DISK");
  auto* picture =
      verb->add_option("--png", options->picture, "Draw it into this file")->type_name("FILE");
  verb->add_flag("--dark", options->dark, "As on a dark desktop")->needs(picture);
  verb->add_flag("--json", options->json, "Write an array of objects")->excludes(picture);
  verb->callback([&invocation, options] {
    invocation.command = [options](Context& context) { return menuText(context, *options); };
  });
}

}  // namespace cli::verbs
