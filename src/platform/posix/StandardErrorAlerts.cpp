#include "platform/posix/StandardErrorAlerts.h"

#include "platform/posix/FileContents.h"

namespace platform {

std::size_t StandardErrorAlerts::runModal(const Alert& alert) {
  std::string text = alert.title + "\n";
  if (!alert.text.empty()) text += alert.text + "\n";
  writeAll(descriptor_, text);
  return 0;
}

}  // namespace platform
