// Rows and the status item as they look.

#include <QPainter>

#include "menu/Menu.h"
#include "menu/RamDiskMenuItemView.h"
#include "menu/StatusItemView.h"
#include "platform/qt/drawing/QtGraphics.h"
#include "tests/kinds/World.h"
#include "tests/pictures/Reference.h"

namespace {

using menu::RamDiskMenuItemView;
using platform::Size;

constexpr Size kRow{260, 40};
constexpr std::uint64_t kSize = 1'000'000;

// Stands for the program's artwork, which may change without these tests.
void makePicture(const std::string& folder, const std::string& name, int points,
                 const std::function<void(QPainter&)>& draw) {
  for (const int scale : {1, 2}) {
    QImage image(points * scale, points * scale, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(points * scale, points * scale);
    painter.setPen(Qt::NoPen);
    draw(painter);
    painter.end();
    image.save(QString::fromStdString(folder + "/" + name + (scale == 2 ? "@2x.png" : ".png")));
  }
}

// A chip with a notch at its top left, in the colour.
std::function<void(QPainter&)> chip(const QColor& colour) {
  return [colour](QPainter& painter) {
    painter.setBrush(colour);
    painter.drawRoundedRect(QRectF(0.1, 0.2, 0.8, 0.6), 0.1, 0.1);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.drawEllipse(QRectF(0.18, 0.28, 0.2, 0.2));
  };
}

std::function<void(QPainter&)> ball(const QColor& colour) {
  return [colour](QPainter& painter) {
    painter.setBrush(colour);
    painter.drawEllipse(QRectF(0, 0, 1, 1));
  };
}

class PicturesTest : public testing::TestWithParam<Look> {
 protected:
  PicturesTest() {
    putOn(GetParam());
    const std::string images = world.scratch.directory("images");
    makePicture(images, "RamDisk_10.10_128", 128, chip(QColor(70, 150, 90)));
    makePicture(images, "kind-firefox", 128, ball(QColor(230, 120, 30)));
    makePicture(images, "TarnvaleStatusItemColor", 18, chip(QColor(70, 150, 90)));
    makePicture(images, "TarnvaleStatusItemBlack", 18, chip(Qt::black));
    makePicture(images, "TarnvaleStatusItemWhite", 18, chip(Qt::white));
    makePicture(images, "TarnvaleStatusItemPressed", 18, chip(QColor(230, 240, 255)));
    world.graphics = std::make_shared<platform::qt::QtGraphics>(images);
    platform::KindFacts firefox{.type = QVRamDiskType_Firefox};
    firefox.application.usualPlace = world.scratch.directory("firefox");
    firefox.preset.name = "firefox";
    world.places->kinds = {firefox};
    world.install(world.places);
    if (GetParam().dark) world.defaults->strings["AppleInterfaceStyle"] = "Dark";
  }

  void add(const QVRamDiskPtr& disk, QVRamDiskAction action = QVRamDiskActionNone,
           QVRamDiskActionInfo info = {}) {
    views.push_back(std::make_shared<RamDiskMenuItemView>(
        platform::Rect{0, 0, kRow.width, kRow.height}, *disk, action, info));
  }

  void addHighlighted(const QVRamDiskPtr& disk, QVRamDiskAction action = QVRamDiskActionNone,
                      QVRamDiskActionInfo info = {}) {
    add(disk, action, info);
    items.push_back(std::make_shared<menu::MenuItem>());
    items.back()->isHighlighted = true;
    views.back()->enclosingMenuItem = items.back();
  }

  // The views, one below the other.
  void expectColumn(const std::string& name, Size each) {
    const auto count = static_cast<double>(views.size());
    const QImage picture =
        painted(GetParam(), {each.width, each.height * count}, [&](platform::Canvas& canvas) {
          double y = each.height * count;
          for (const auto& view : views) {
            y -= each.height;
            canvas.drawAt({0, y}, each, [&](platform::Canvas& inner) { view->display(inner); });
          }
        });
    expectMatches(picture, name + "-" + GetParam().name(), static_cast<int>(views.size()));
  }

  static QVRamDiskPtr diskNamed(const std::string& name) {
    auto disk = QVRamDisk::init();
    disk->setName(name);
    return disk;
  }
  static QVRamDiskPtr mounted(const std::string& name, double usage) {
    auto disk = diskNamed(name);
    disk->setStatus(QVRamDiskStatus_mounted);
    disk->setVolSize(kSize);
    disk->setVolFree(kSize - static_cast<std::uint64_t>(usage * kSize));
    return disk;
  }

  World world;
  std::vector<std::shared_ptr<menu::View>> views;
  std::vector<menu::MenuItemPtr> items;
};

constexpr char kLongName[] = "A name that nobody would give to a RAM disk (the second one)";

TEST_P(PicturesTest, RowsOfIdleDisks) {
  add(diskNamed("Not created"));
  const auto created = diskNamed("Created");
  created->setStatus(QVRamDiskStatus_created);
  add(created);
  for (const double usage : {0., 0.25, 0.8, 1.}) add(mounted("Build folder", usage));
  const auto shrunk = mounted("More free than there is", 0);
  shrunk->setVolFree(2 * kSize);
  add(shrunk);
  const auto firefox = mounted("", 0.4);
  firefox->changeToType(QVRamDiskType_Firefox, 0);
  add(firefox);
  add(mounted(kLongName, 0.6));
  add(mounted("Größe – Übersicht & Ähnliches", 0.1));
  addHighlighted(mounted(kLongName, 0.6));
  addHighlighted(diskNamed("Not created"));
  world.defaults->integers["AppleAquaColorVariant"] = 6;
  addHighlighted(mounted("Graphite", 0.25));
  expectColumn("idle", kRow);
}

TEST_P(PicturesTest, RowsOfBusyDisks) {
  const auto disk = mounted("Build folder", 0.5);
  add(disk, QVRamDiskActionCreate, QVRamDiskActionInfo_creatingRecopingFromBase);
  add(disk, QVRamDiskActionSyncWithBase, QVRamDiskActionInfo_copyingToBase);
  add(disk, QVRamDiskActionBackup, QVRamDiskActionInfo_backuping);
  add(mounted(kLongName, 0.5), QVRamDiskActionCreate,
      QVRamDiskActionInfo_creatingExecutingPostCommand);
  addHighlighted(disk, QVRamDiskActionEject, QVRamDiskActionInfo_ejecting);
  add(disk, QVRamDiskActionRebuild, QVRamDiskActionInfo_none);
  const auto spinner = dynamic_cast<RamDiskMenuItemView&>(*views.back()).progressIndicator();
  for (int step = 0; step < 5; ++step) spinner->advance();
  expectColumn("busy", kRow);
}

TEST_P(PicturesTest, TheStatusItem) {
  constexpr Size kItem{26, 24};
  for (const auto& [style, warn, pressed] : {std::tuple(0, false, false),
                                             {1, false, false},
                                             {0, true, false},
                                             {2, true, false},
                                             {0, false, true},
                                             {1, true, true}}) {
    const auto view = menu::StatusItemView::initWithDelegate(nullptr);
    view->setFrameSize(kItem);
    view->setBadgeStyle(style);
    view->setIsWarn(warn);
    view->setIsPressed(pressed);
    views.push_back(view);
  }
  expectColumn("item", kItem);
}

INSTANTIATE_TEST_SUITE_P(Looks, PicturesTest,
                         testing::Values(Look{false, 1}, Look{false, 2}, Look{true, 1},
                                         Look{true, 2}),
                         [](const auto& each) {
                           return std::string(each.param.dark ? "Dark" : "Light") +
                                  std::to_string(each.param.scale);
                         });

}  // namespace
