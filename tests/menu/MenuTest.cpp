#include "tests/menu/MenuTest.h"

#include <cstring>

#include "kinds/QVRamDiskManager.h"
#include "system/QVMacInfo.h"

using menu::Menu;
using menu::MenuItem;

namespace {

constexpr char kSmall[] = " as 16x16";

// What the picture of an item shows: "NAME", or "icon of FILE".
std::string pictureOf(const MenuItem& item) {
  std::string name = doubles::nameOf(item.image);
  if (!name.ends_with(kSmall)) return "too large: " + name;
  name.erase(name.size() - std::strlen(kSmall));
  const auto slash = name.rfind('/');
  return slash == std::string::npos ? name.substr(name.find(' ') + 1)
                                    : "icon of " + name.substr(slash + 1);
}

}  // namespace

MenuTest::MenuTest() {
  graphics->knowsAllTypes = true;
  graphics->name("syncIcon", 64);
  auto services = platform::services();
  services.mainLoop = turning;
  services.graphics = graphics;
  services.machine = machine;
  services.applications = applications;
  files = std::make_shared<CountingFiles>(faults);
  services.files = files;
  platform::install(services);
  const auto kind = [](QVRamDiskType type, const char* running) {
    return platform::KindFacts{.type = type, .application = {.runningIdentifiers = {running}}};
  };
  places->kinds = platform::KindTable{kind(QVRamDiskType_CoreSimulator, "test.simulator"),
                                      kind(QVRamDiskType_Firefox, "test.browser")};
  QVRamDiskManager::forgetCachedAnswers();
  QVMacInfo::forgetCachedAnswers();
}

Menu& MenuTest::open() {
  controller->statusMenu()->needsUpdate();
  controller->statusMenu()->willOpen();
  return *controller->statusMenu();
}

menu::MenuItemPtr MenuTest::itemOf(const Menu& menu, const std::string& title) {
  for (const auto& item : menu.items())
    if (item->title == title) return item;
  ADD_FAILURE() << "there is no item " << title;
  return nullptr;
}

Menu& MenuTest::openDisk(const std::string& displayName) {
  const auto item = itemOf(*controller->statusMenu(), displayName);
  item->submenu->needsUpdate();
  return *item->submenu;
}

menu::MenuPtr MenuTest::openFolder(const Menu& parent, const std::string& title) {
  const auto item = itemOf(parent, title);
  if (!item || !item->submenu) return nullptr;
  item->submenu->needsUpdate();
  return item->submenu;
}

void MenuTest::click(const Menu& menu, const std::string& title) {
  if (const auto item = itemOf(menu, title)) item->click();
}

QVRamDiskPtr MenuTest::record(const std::string& name, QVRamDiskStatus status,
                              QVRamDiskBackupMode mode, QVRamDiskType type) {
  auto made = controller->ramDiskEntries()->addRamDisk();
  made->changeToType(type, QVRamDiskChangeTypeKeepSettings);
  made->setStatus(status);
  return diskOver(name, mode, std::move(made));
}

void MenuTest::writeList(const std::vector<std::string>& names, QVRamDiskBackupMode mode) {
  const auto entries = QVRamDiskEntries::init();
  for (const auto& name : names) diskOver(name, mode, entries->addRamDisk());
  entries->writeRamDisksToDefaultLocation();
}

void MenuTest::elsewhere(const std::function<void(QVRamDiskEntries&)>& work) {
  const auto theirs = QVRamDiskEntries::init();
  theirs->readRamDisksFromDefaultLocation();
  work(*theirs);
  theirs->writeRamDisksToDefaultLocation();
}

QVRamDiskPtr MenuTest::saved(std::size_t index) {
  const auto path = RegistryFile::defaultPath();
  const auto contents = path ? RegistryFile(*path).read() : std::nullopt;
  return contents && index < contents->ramDisks.size() ? contents->ramDisks[index] : nullptr;
}

std::string MenuTest::line(const MenuItem& item) const {
  if (item.isSeparator) return "---";
  std::string text(static_cast<std::size_t>(2 * item.indentationLevel), ' ');
  text += item.title;
  if (!item.isEnabled) text += " (off)";
  if (item.action) {
    text += " [" + item.action.name;
    if (item.tag != 0) text += "#" + std::to_string(item.tag);
    text += "]";
  }
  if (item.image) text += " {" + pictureOf(item) + "}";
  if (item.toolTip) text += " \"" + *item.toolTip + "\"";
  if (const auto ramDisk = item.represented<QVRamDiskPtr>())
    text += " = disk " + ramDisk->name().value_or("");
  const auto shortened = [this](const std::string& path) {
    return path.starts_with(work) ? "~" + path.substr(work.size()) : path;
  };
  if (const auto path = item.represented<std::string>(); !path.empty())
    text += " = " + shortened(path);
  if (item.submenu) text += " > " + shortened(item.submenu->title());
  return text;
}

MenuTest::Lines MenuTest::lines(const Menu& menu) const {
  Lines all;
  for (const auto& item : menu.items()) all.push_back(line(*item));
  return all;
}
