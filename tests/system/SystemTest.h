#pragma once

#include "platform/linux/LinuxVolumes.h"
#include "platform/posix/PosixFiles.h"
#include "tests/support/DoubleServices.h"
#include "tests/support/Test.h"

struct ScratchFirst {
  Scratch scratch;
};

// Real files and volumes in a scratch folder; a machine, a log and a desktop that the test
// dictates.
class SystemTest : public testing::Test, protected ScratchFirst, protected DoubleServices {
 protected:
  SystemTest() : DoubleServices(scratch.path()) { installServices(); }

  void installServices() const {
    auto all = services();
    all.files = std::make_shared<platform::PosixFiles>();
    all.volumes = std::make_shared<platform::LinuxVolumes>();
    platform::install(all);
  }
};
