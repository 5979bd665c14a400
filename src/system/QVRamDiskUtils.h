#pragma once

#include <optional>
#include <string>

// The helper as others see it, the system's own utilities, and freeing the machine's memory.
class QVRamDiskUtils {
 public:
  using Path = std::optional<std::string>;

  // --- The helper; main thread only

  // Where the helper, and the application that it belongs to, are installed; nullopt where not.
  static Path helperURL();
  static Path ramDiskAppPath();
  static bool helperIsRunning();
  // YES starts the helper in place of every running copy, as the application does: it re-creates no
  // disks. NO asks the copies to end, and makes those end that cannot be asked. Nothing waits. A
  // helper that was started as a service is none of them: it saves the disks at the session's end.
  static void setHelperIsRunning(bool run);
  // Asks the copies of the helper besides this process to end: of the services, or of the others.
  static void endOtherHelpers(bool ofServices);

  static Path activityMonitorURL();
  static Path diskUtilityURL();

  // --- The machine's inactive memory, where the system offers to free it

  static bool canPurgeMemory();
  static bool purgeMemory();  // starts the tool and does not wait for it
};
