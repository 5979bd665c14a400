#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "core/Identifiers.h"
#include "core/QVError.h"
#include "core/QVLog.h"
#include "platform/Services.h"
#include "system/QVRamDiskUtils.h"

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
  const platform::Failure error =
      helper ? services().workspace->launch(*helper, {kLaunchedByApp})
             : platform::SystemError{"POSIX", ENOENT, "the helper is not installed"};
  if (error)
    QVLogError("QVRamDiskUtils", "launchApplicationAtURL==NO URL:{} error:{}", QVText(helper),
               QVDescription(*error));
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
