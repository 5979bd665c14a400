#pragma once
// A helper on real disks, in a session that the test dictates, with a record of what it asked for
// and in which order.

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "app/AppDelegate.h"
#include "platform/posix/PosixMainLoop.h"
#include "tests/menu/StatusBarDouble.h"
#include "tests/support/EngineTest.h"

// Keeps what happened, in order.
using TracePtr = std::shared_ptr<doubles::RecordingLog>;

// A real loop on a clock of the test's own: sleeping takes no time.
class TracedLoop : public platform::PosixMainLoop {
 public:
  explicit TracedLoop(TracePtr trace) : trace_(std::move(trace)) {}
  void stop() override {
    trace_->write(0, "stop");
    PosixMainLoop::stop();
  }
  void sleep(std::chrono::milliseconds time) override {
    slept += time;
    if (onSleep) onSleep();
  }
  std::chrono::milliseconds slept{0};
  std::function<void()> onSleep;

  // Runs until the condition holds, which is looked at every millisecond, or something stops it;
  // once only, because a loop that was stopped stays so. A minute is a failure.
  void runUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    bool holds = false;
    const auto timer = every(std::chrono::milliseconds(1), [&] {
      holds = holds || condition();
      if (holds || std::chrono::steady_clock::now() > end) PosixMainLoop::stop();
    });
    run();
    cancel(timer);
    ASSERT_TRUE(holds || condition()) << "waited in vain";
  }

 private:
  TracePtr trace_;
};

class TracedFiles : public FaultyFiles {
 public:
  TracedFiles(FaultPlanPtr plan, TracePtr trace)
      : FaultyFiles(std::move(plan)), trace_(std::move(trace)) {}
  platform::Result<std::string> contents(const std::string& path) const override {
    if (path.ends_with("/RamDiskEntries")) trace_->write(0, "read the list");
    return FaultyFiles::contents(path);
  }
  platform::Outcome replaceContents(const std::string& path, std::string_view bytes) override {
    if (path.ends_with("/RamDiskEntries")) trace_->write(0, "write the list");
    return FaultyFiles::replaceContents(path, bytes);
  }

 private:
  TracePtr trace_;
};

// Tells when a disk is made, and on which thread.
class TracedPlaces : public FaultyPlaces {
 public:
  TracedPlaces(const FaultyPlaces& real, TracePtr trace)
      : FaultyPlaces(real), trace_(std::move(trace)) {}
  std::string tool(platform::Tool tool) const override {
    if (tool == platform::Tool::Formatter)
      trace_->write(0, std::this_thread::get_id() == main_ ? "make a disk here" : "make a disk");
    return FaultyPlaces::tool(tool);
  }

 private:
  TracePtr trace_;
  std::thread::id main_ = std::this_thread::get_id();
};

class TracedApplications : public doubles::FakeApplications {
 public:
  explicit TracedApplications(TracePtr trace) : trace_(std::move(trace)) {}
  std::vector<platform::RunningApplication> running(std::string_view identifier) const override {
    trace_->write(0, "look for copies");
    return FakeApplications::running(identifier);
  }

 private:
  TracePtr trace_;
};

class AppTest : public EngineTest {
 protected:
  using Steps = std::vector<std::string>;

  AppTest() {
    auto services = platform::services();
    services.mainLoop = loop;
    services.applications = applications;
    services.sessionEnd = sessionEnd;
    services.files = std::make_shared<TracedFiles>(faults, trace);
    services.places = places = std::make_shared<TracedPlaces>(*places, trace);
    platform::install(services);
  }

  // Writes a list of disks over home/desk/NAME that are wanted at login.
  std::shared_ptr<QVRamDiskEntries> listOf(const std::vector<std::string>& names,
                                           bool withMenu = false) {
    auto entries = QVRamDiskEntries::init();
    for (const auto& name : names)
      diskOver(name, QVRamDiskBackupMode_Base, entries->addRamDisk())->setCreateAtLogin(true);
    entries->setShowInMenuBar(withMenu);
    entries->writeRamDisksToDefaultLocation();
    return entries;
  }
  static std::shared_ptr<QVRamDiskEntries> reread() {
    auto entries = QVRamDiskEntries::init();
    entries->readRamDisksFromDefaultLocation();
    return entries;
  }

  // A helper as it is started with these arguments, with a menu where one is wanted.
  std::shared_ptr<AppDelegate> launched(const std::vector<std::string>& args = {}) {
    auto delegate = std::make_shared<AppDelegate>(app::helperOptions(args), [this] {
      trace->write(0, "make the menu");
      return controller = StatusMenuController::init(bar);
    });
    setUp_ = trace->entries().size();
    delegate->applicationDidFinishLaunching();
    return delegate;
  }
  void recover(const std::shared_ptr<AppDelegate>& delegate) const {
    loop->runUntil([&] { return !delegate->ramDiskEntries(); });
  }
  // What happened since the launch; the same thing twice in a row once.
  Steps steps() const {
    auto all = trace->entries();
    all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(setUp_));
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
  }
  void announceChange(const char* sender) const {
    notifications->deliver({QVRamDiskEntriesDidChangeToAllNotification, sender, {}});
  }

  TracePtr trace = std::make_shared<doubles::RecordingLog>();
  std::shared_ptr<TracedLoop> loop = std::make_shared<TracedLoop>(trace);
  std::shared_ptr<TracedApplications> applications = std::make_shared<TracedApplications>(trace);
  std::shared_ptr<doubles::FakeSessionEnd> sessionEnd = std::make_shared<doubles::FakeSessionEnd>();
  std::shared_ptr<StatusBarDouble> bar = std::make_shared<StatusBarDouble>();
  std::shared_ptr<StatusMenuController> controller;  // of the menu that was made last

 private:
  std::size_t setUp_ = 0;
};
