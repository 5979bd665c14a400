#include "disktools/LoopDevice.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>

#include <cerrno>

namespace disktools {

namespace {

constexpr const char* kNoLoopDevice = "cannot get a loop block device";

// Another program may take the free device between asking for it and configuring it.
constexpr int kAttempts = 32;

bool configure(const Descriptor& device, const Descriptor& file) {
  loop_config config{};
  config.fd = static_cast<__u32>(file.get());
  config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
  return ioctl(device.get(), LOOP_CONFIGURE, &config) == 0;
}

}  // namespace

Result<LoopDevice> attachLoop(const Descriptor& file) {
  const Descriptor control(open("/dev/loop-control", O_RDWR | O_CLOEXEC));
  if (!control) return systemProblem(kNoLoopDevice, "/dev/loop-control");
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const int number = ioctl(control.get(), LOOP_CTL_GET_FREE);
    if (number < 0) return systemProblem(kNoLoopDevice);
    std::string path = "/dev/loop" + std::to_string(number);
    Descriptor device(open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!device) return systemProblem(kNoLoopDevice, path);
    if (configure(device, file)) return LoopDevice{std::move(device), std::move(path)};
    if (errno != EBUSY) return systemProblem(kNoLoopDevice, path);
  }
  return Problem{kNoLoopDevice, EBUSY, {}};
}

}  // namespace disktools
