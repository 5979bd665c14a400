#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/AtomicProperty.h"
#include "kinds/QVSimDevice.h"

// The simulator devices that have been used, by type, version and name. Filled when first asked
// for and read again only by update(): devices made or erased meanwhile are not seen. Any thread;
// a race on first use reads the folders twice.
class QVSimDeviceList {
 public:
  using Devices = std::vector<std::shared_ptr<const QVSimDevice>>;

  static QVSimDeviceList& sharedInstance();

  std::shared_ptr<const Devices> devices();  // never null
  void update();
  std::shared_ptr<const QVSimDevice> simDeviceWithDirId(const std::optional<std::string>& dirId);

 private:
  AtomicProperty<std::shared_ptr<const Devices>> devices_;
};
