#pragma once
// A helper on real disks, in a session that the test dictates, with a record of what it asked for
// and in which order.

#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "app/AppDelegate.h"
#include "platform/posix/PosixMainLoop.h"
#include "tests/menu/StatusBarDouble.h"
#include "tests/support/EngineTest.h"

// What happened, in order; the same thing twice in a row once.
class Trace {
 public:
  void add(const std::string& what) {
    const std::lock_guard lock(mutex_);
    if (steps_.empty() || steps_.back() != what) steps_.push_back(what);
  }
  std::vector<std::string> steps() const {
    const std::lock_guard lock(mutex_);
    return steps_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> steps_;
};

using TracePtr = std::shared_ptr<Trace>;

// A real loop on a clock of the test's own: sleeping takes no time.
class TracedLoop : public platform::PosixMainLoop {
 public:
  explicit TracedLoop(TracePtr trace) : trace_(std::move(trace)) {}
  void stop() override {
    trace_->add("stop");
    PosixMainLoop::stop();
  }
  void sleep(std::chrono::milliseconds time) override {
    slept += time;
    if (onSleep) onSleep();
  }
  std::chrono::milliseconds slept{0};
  std::function<void()> onSleep;

  // Runs until the condition holds, which is looked at every millisecond.
  void runUntil(const std::function<bool()>& condition) {
    const auto timer = every(std::chrono::milliseconds(1), [&] {
      if (condition()) PosixMainLoop::stop();
    });
    run();
    cancel(timer);
  }

 private:
  TracePtr trace_;
};

class TracedFiles : public FaultyFiles {
 public:
  TracedFiles(std::shared_ptr<platform::Files> real, FaultPlanPtr plan, TracePtr trace)
      : FaultyFiles(std::move(real), std::move(plan)), trace_(std::move(trace)) {}
  platform::Result<std::string> contents(const std::string& path) const override {
    if (path.ends_with("/RamDiskEntries")) trace_->add("read the list");
    return FaultyFiles::contents(path);
  }
  platform::Failure replaceContents(const std::string& path, std::string_view bytes) override {
    if (path.ends_with("/RamDiskEntries")) trace_->add("write the list");
    return FaultyFiles::replaceContents(path, bytes);
  }

 private:
  TracePtr trace_;
};

// Tells when a disk is made, and on which thread.
class TracedPlaces : public FaultyPlaces {
 public:
  TracedPlaces(std::shared_ptr<platform::Places> real, TracePtr trace)
      : FaultyPlaces(std::move(real), std::make_shared<FaultPlan>(), ""),
        trace_(std::move(trace)) {}
  std::string tool(platform::Tool tool) const override {
    if (tool == platform::Tool::Formatter)
      trace_->add(std::this_thread::get_id() == main_ ? "make a disk here" : "make a disk");
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
    trace_->add("look for copies");
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
    services.files = std::make_shared<TracedFiles>(services.files, faults, trace);
    services.places = std::make_shared<TracedPlaces>(services.places, trace);
    platform::install(services);
  }

  // Writes a list of disks over home/desk/NAME that are wanted at login.
  std::shared_ptr<QVRamDiskEntries> listOf(const std::vector<std::string>& names,
                                           QVRamDiskBackupMode mode = QVRamDiskBackupMode_Base) {
    auto entries = QVRamDiskEntries::init();
    for (const auto& name : names) {
      scratch.directory("home/desk/" + name);
      const auto disk = entries->addRamDisk();
      disk->setName(name);
      disk->setMountDirectory(work);
      disk->setSize(kSize);
      disk->setBackupMode(mode);
      disk->setCreateAtLogin(true);
    }
    entries->writeRamDisksToDefaultLocation();
    return entries;
  }
  static std::shared_ptr<QVRamDiskEntries> reread() {
    auto entries = QVRamDiskEntries::init();
    entries->readRamDisksFromDefaultLocation();
    return entries;
  }
  static void wantMenu(const std::shared_ptr<QVRamDiskEntries>& list) {
    list->setShowInMenuBar(true);
    list->writeRamDisksToDefaultLocation();
  }
  // A helper as it is started with these arguments, with a menu where one is wanted.
  std::shared_ptr<AppDelegate> launched(const std::vector<std::string>& args = {}) {
    auto delegate = std::make_shared<AppDelegate>(app::helperOptions(args), [this] {
      trace->add("make the menu");
      return controller = StatusMenuController::init(bar);
    });
    setUp_ = trace->steps().size();
    delegate->applicationDidFinishLaunching();
    return delegate;
  }
  void recover(const std::shared_ptr<AppDelegate>& delegate) {
    loop->runUntil([&] { return !delegate->ramDiskEntries(); });
  }
  // What happened since the launch.
  Steps steps() const {
    const auto all = trace->steps();
    return {all.begin() + static_cast<std::ptrdiff_t>(setUp_), all.end()};
  }
  void announceChange(const char* sender) {
    notifications->deliver({QVRamDiskEntriesDidChangeToAllNotification, sender, {}});
  }

  TracePtr trace = std::make_shared<Trace>();
  std::shared_ptr<TracedLoop> loop = std::make_shared<TracedLoop>(trace);
  std::shared_ptr<TracedApplications> applications = std::make_shared<TracedApplications>(trace);
  std::shared_ptr<doubles::FakeSessionEnd> sessionEnd = std::make_shared<doubles::FakeSessionEnd>();
  std::shared_ptr<StatusBarDouble> bar = std::make_shared<StatusBarDouble>();
  std::shared_ptr<StatusMenuController> controller;  // of the menu that was made last

 private:
  std::size_t setUp_ = 0;
};
