#include "system/QVRamDiskUtils.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "core/Identifiers.h"
#include "core/QVError.h"
#include "core/QVLog.h"
#include "platform/Services.h"
#include "system/Command.h"
#include "system/DetachedThread.h"
#include "system/QVMacInfo.h"

namespace {

std::string purgeTool() { return platform::services().places->tool(platform::Tool::Purger); }

// Takes the tool's status off the system's hands when it ends, so that it leaves no zombie. The
// thread touches nothing of the program's and may be cut off by its end.
void reapInBackground(pid_t process) {
  runOnOwnThread([process] {
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

namespace {

using platform::RunningApplication;
using platform::services;

// Utilities are asked for by these identifiers; a port knows what stands for them.
constexpr char kActivityMonitor[] = "com.apple.ActivityMonitor";
constexpr char kDiskUtility[] = "com.apple.DiskUtility";

QVRamDiskUtils::Path presentApplication(std::string_view identifier) {
  auto path = services().applications->pathOfApplication(identifier);
  if (!path || services().files->kind(*path) == platform::FileKind::Missing) return std::nullopt;
  return path;
}

bool isService(const RunningApplication& copy) {
  const auto& given = copy.arguments;
  return std::find(given.begin(), given.end(), kServiceArgument) != given.end();
}

void endHelpers(bool ofServices) {
  const auto& applications = services().applications;
  for (const auto& copy : applications->running(kHelperBundleId))
    if (isService(copy) == ofServices && copy.processIdentifier != getpid() &&
        !applications->terminate(copy))
      applications->forceTerminate(copy);
}

void launchHelper() {
  const auto helper = QVRamDiskUtils::helperURL();
  const platform::Outcome launched =
      helper ? services().workspace->launch(*helper, {kLaunchedByApp})
             : platform::SystemError{"POSIX", ENOENT, "the helper is not installed"};
  if (!launched)
    QVLogError("QVRamDiskUtils", "launchApplicationAtURL==NO URL:{} error:{}", QVText(helper),
               QVDescription(launched.error()));
}

}  // namespace

QVRamDiskUtils::Path QVRamDiskUtils::helperURL() { return presentApplication(kHelperBundleId); }

QVRamDiskUtils::Path QVRamDiskUtils::ramDiskAppPath() {
  return services().applications->pathOfApplication(kMainAppBundleId);
}

QVRamDiskUtils::Path QVRamDiskUtils::activityMonitorURL() {
  return presentApplication(kActivityMonitor);
}

QVRamDiskUtils::Path QVRamDiskUtils::diskUtilityURL() { return presentApplication(kDiskUtility); }

bool QVRamDiskUtils::helperIsRunning() {
  return !services().applications->running(kHelperBundleId).empty();
}

void QVRamDiskUtils::setHelperIsRunning(bool run) {
  endHelpers(false);
  if (run) launchHelper();
}

void QVRamDiskUtils::endOtherHelpers(bool ofServices) { endHelpers(ofServices); }
