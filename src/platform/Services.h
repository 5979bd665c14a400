#pragma once
// The seam between the engine and the platform. The engine is handed everything that differs
// between platforms here and asks nowhere which one it is on.

#include <memory>

#include "platform/Desktop.h"
#include "platform/FileCopying.h"
#include "platform/Files.h"
#include "platform/Graphics.h"
#include "platform/Machine.h"
#include "platform/MainLoop.h"
#include "platform/Places.h"
#include "platform/Program.h"
#include "platform/Session.h"
#include "platform/Volumes.h"

namespace platform {

// Every member is set in an installed instance.
struct Services {
  std::shared_ptr<SystemLog> systemLog;
  std::shared_ptr<MainLoop> mainLoop;
  std::shared_ptr<Alerts> alerts;
  std::shared_ptr<Bundle> bundle;
  std::shared_ptr<Defaults> defaults;
  std::shared_ptr<Applications> applications;
  std::shared_ptr<Workspace> workspace;
  std::shared_ptr<Notifications> notifications;
  std::shared_ptr<LoginItems> loginItems;
  std::shared_ptr<SessionEnd> sessionEnd;
  std::shared_ptr<Files> files;
  std::shared_ptr<FileCopying> fileCopying;
  std::shared_ptr<Volumes> volumes;
  std::shared_ptr<Machine> machine;
  std::shared_ptr<Places> places;
  std::shared_ptr<Graphics> graphics;
};

// Installs the services. Called by main before anything else, and by tests between their cases;
// never while another thread uses the engine.
void install(Services services);

// The installed services. Calling it before install() ends the program.
const Services& services();

}  // namespace platform
