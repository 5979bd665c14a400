#pragma once

#include "menu/RamDiskMenuItemView.h"
#include "tests/kinds/World.h"
#include "tests/support/RecordingGraphics.h"

// One disk named "Work", and pictures that tell their names.
class ViewsTest : public testing::Test {
 protected:
  ViewsTest() {
    world.graphics = graphics;
    world.install(world.places);
    graphics->name("RamDisk_10.10_128", 128);
    for (const char* style : {"Color", "White", "Black", "Pressed"})
      graphics->name(std::string("TarnvaleStatusItem") + style, 18);
    disk->setName("Work");
  }

  void becomeDark(bool graphite = false) {
    world.defaults->strings["AppleInterfaceStyle"] = "dark";
    if (graphite) world.defaults->integers["AppleAquaColorVariant"] = 6;
  }

  void mount(std::uint64_t size, std::uint64_t free) {
    disk->setStatus(QVRamDiskStatus_mounted);
    disk->setVolSize(size);
    disk->setVolFree(free);
  }

  std::shared_ptr<menu::RamDiskMenuItemView> row(QVRamDiskAction action = QVRamDiskActionNone,
                                                 QVRamDiskActionInfo info = {}) const {
    return std::make_shared<menu::RamDiskMenuItemView>(platform::Rect{0, 0, 260, 40}, *disk, action,
                                                       info);
  }

  static doubles::Calls drawn(menu::View& view) {
    doubles::RecordingCanvas canvas;
    view.display(canvas);
    return canvas.calls;
  }

  World world;
  std::shared_ptr<doubles::RecordingGraphics> graphics =
      std::make_shared<doubles::RecordingGraphics>();
  QVRamDiskPtr disk = QVRamDisk::init();
};
