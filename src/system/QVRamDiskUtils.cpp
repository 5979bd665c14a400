#include "system/QVRamDiskUtils.h"

#include "core/QVLog.h"
#include "platform/Services.h"
#include "system/DetachedThread.h"
#include "system/QVMacInfo.h"
#include "system/Spawn.h"

namespace {

std::string purgeTool() { return platform::services().places->tool(platform::Tool::Purger); }

// Takes the tool's status off the system's hands when it ends, so that it leaves no zombie. The
// thread touches nothing of the program's and may be cut off by its end.
void reapInBackground(pid_t process) {
  startDetached([process] {
    std::int64_t ignored = 0;
    awaitProgram(process, ignored);
  });
}

}  // namespace

bool QVRamDiskUtils::canPurgeMemory() {
  if (QVMacInfo::isMavericksOrBetter()) return false;
  return platform::services().files->kind(purgeTool()) != platform::FileKind::Missing;
}

bool QVRamDiskUtils::purgeMemory() {
  if (QVMacInfo::isMavericksOrBetter()) {
    QVLogError("QVRamDiskUtils", "isMavericksOrBetter==YES");
    return false;
  }
  pid_t process = 0;
  if (spawnProgram({purgeTool(), {}, {}, {}, -1, -1}, process) != 0) {
    QVLogError("QVRamDiskUtils", "task==nil");
    return false;
  }
  reapInBackground(process);
  return true;
}
