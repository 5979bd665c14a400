#pragma once
// In-memory stand-ins for what a test must be able to dictate: the machine, the log's reader, the
// user at an alert. What can be real in a test (files, volumes, tools) is real.

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Services.h"

namespace doubles {

// What a test put under the key, nullopt for nothing.
template <class Key, class Value>
std::optional<Value> valueIn(const std::map<Key, Value>& values, const Key& key) {
  const auto found = values.find(key);
  return found == values.end() ? std::nullopt : std::optional(found->second);
}

class RecordingLog : public platform::SystemLog {
 public:
  void write(std::int64_t severity, std::string_view text) override {
    const std::lock_guard lock(mutex_);
    entries_.emplace_back(text);
    severities_.push_back(severity);
  }

  std::vector<std::string> entries() const {
    const std::lock_guard lock(mutex_);
    return entries_;
  }

  // Of each entry, as the system's log was given it.
  std::vector<std::int64_t> severities() const {
    const std::lock_guard lock(mutex_);
    return severities_;
  }

  // How many entries hold the text.
  std::size_t count(std::string_view text) const {
    const auto all = entries();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [&](const auto& e) { return e.find(text) != std::string::npos; }));
  }

  void clear() {
    const std::lock_guard lock(mutex_);
    entries_.clear();
    severities_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> entries_;
  std::vector<std::int64_t> severities_;
};

class RecordingAlerts : public platform::Alerts {
 public:
  std::size_t runModal(const platform::Alert& alert) override {
    shown.push_back(alert);
    return 0;
  }
  bool runAsSheet(const platform::Alert&, const std::shared_ptr<platform::Window>&,
                  const std::function<void(std::size_t)>& ended) override {
    if (sheets) endSheet = ended;
    return sheets;
  }
  std::vector<platform::Alert> shown;  // modally
  bool sheets = false;
  std::function<void(std::size_t)> endSheet;  // of the sheet that is shown
};

// Runs everything at once on the thread that asks, and timers when the test says so.
class DirectMainLoop : public platform::MainLoop {
 public:
  bool isMainThread() const override { return std::this_thread::get_id() == main_; }
  void post(Task task) override { task(); }
  void postAndWait(Task task) override { task(); }
  TimerId after(std::chrono::milliseconds, Task task) override {
    return add(std::move(task), false);
  }
  TimerId every(std::chrono::milliseconds interval, Task task) override {
    lastInterval = interval;
    return add(std::move(task), true);
  }
  void cancel(TimerId timer) override { timers_.erase(timer); }
  void run() override {}
  void stop() override {}
  void sleep(std::chrono::milliseconds time) override {
    slept += time;
    if (onSleep) onSleep();
  }
  std::chrono::milliseconds slept{0};
  std::function<void()> onSleep;

  // Lets every timer fire once.
  void fire() {
    auto due = timers_;
    for (auto& [id, timer] : due) {
      if (!timer.second) timers_.erase(id);
      timer.first();
    }
  }
  std::size_t timerCount() const { return timers_.size(); }
  std::chrono::milliseconds lastInterval{0};

 private:
  TimerId add(Task task, bool repeats) {
    timers_[++last_] = {std::move(task), repeats};
    return last_;
  }
  std::thread::id main_ = std::this_thread::get_id();
  std::map<TimerId, std::pair<Task, bool>> timers_;
  TimerId last_ = 0;
};

class FakeBundle : public platform::Bundle {
 public:
  std::string identifier() const override { return "com.example.test"; }
  std::string executablePath() const override { return "/opt/example/bin/tarnvale-test"; }
  std::optional<std::string> information(std::string_view key) const override {
    return valueIn(infos, std::string(key));
  }
  std::string localizedString(std::string_view key, std::string_view) const override {
    return valueIn(texts, std::string(key)).value_or(std::string(key));
  }
  std::map<std::string, std::string> infos;
  std::map<std::string, std::string> texts;
};

class FakeDefaults : public platform::Defaults {
 public:
  std::optional<std::string> string(std::string_view key) const override {
    return valueIn(strings, std::string(key));
  }
  std::optional<std::int64_t> integer(std::string_view key) const override {
    return valueIn(integers, std::string(key));
  }
  bool setInteger(std::string_view key, std::int64_t value) override {
    ++writes;
    integers[std::string(key)] = value;
    return true;
  }
  std::map<std::string, std::string> strings;
  std::map<std::string, std::int64_t> integers;
  int writes = 0;
};

class FakeApplications : public platform::Applications {
 public:
  std::optional<std::string> pathOfApplication(std::string_view id) const override {
    return valueIn(paths, std::string(id));
  }
  std::optional<std::string> information(const std::string& path,
                                         std::string_view key) const override {
    return valueIn(infos, std::pair(path, std::string(key)));
  }
  std::vector<platform::RunningApplication> running(std::string_view id) const override {
    std::vector<platform::RunningApplication> found;
    for (const auto& application : applications)
      if (application.bundleIdentifier == id) found.push_back(application);
    return found;
  }
  bool terminate(const platform::RunningApplication& application) override {
    asked.push_back(application.processIdentifier);
    return std::count(refusing.begin(), refusing.end(), application.processIdentifier) == 0;
  }
  bool forceTerminate(const platform::RunningApplication& application) override {
    forced.push_back(application.processIdentifier);
    return true;
  }
  std::vector<std::int64_t> asked;  // process identifiers, in order
  std::vector<std::int64_t> forced;
  std::vector<std::int64_t> refusing;  // to whom no request can be delivered

  std::map<std::string, std::string> paths;                          // by bundle identifier
  std::map<std::pair<std::string, std::string>, std::string> infos;  // by path and key
  std::vector<platform::RunningApplication> applications;
};

class FakeWorkspace : public platform::Workspace {
 public:
  bool setIconFromFile(const std::string& /*icon*/, const std::string& /*path*/) override {
    return succeeds;
  }
  bool open(const std::string& path) override {
    opened.push_back(path);
    return succeeds;
  }
  platform::Outcome launch(const std::string& path,
                           const std::vector<std::string>& arguments) override {
    launched.emplace_back(path, arguments);
    if (succeeds) return {};
    return platform::SystemError{"POSIX", 2, path};
  }
  std::vector<std::string> opened;
  std::vector<std::pair<std::string, std::vector<std::string>>> launched;
  bool succeeds = true;
};

// Keeps what is posted; what arrives from elsewhere is the test's to deliver.
class FakeNotifications : public platform::Notifications {
 public:
  void post(const platform::Notification& notification) override { posted.push_back(notification); }
  ObserverId observe(const std::string& name, Observer observer) override {
    observers_[++last_] = {name, std::move(observer)};
    return last_;
  }
  void remove(ObserverId observer) override { observers_.erase(observer); }

  void deliver(const platform::Notification& notification) {
    const auto present = observers_;
    for (const auto& [id, observer] : present)
      if (observer.first == notification.name) observer.second(notification);
  }
  std::size_t observerCount() const { return observers_.size(); }
  std::vector<platform::Notification> posted;

 private:
  std::map<ObserverId, std::pair<std::string, Observer>> observers_;
  ObserverId last_ = 0;
};

class FakeLoginItems : public platform::LoginItems {
 public:
  platform::Result<std::vector<platform::LoginItem>> snapshot() const override {
    if (unreadable) return platform::SystemError{"POSIX", 13, "unreadable"};
    return items;
  }
  bool unreadable = false;
  platform::Outcome insertHiddenAtEnd(const std::string& path) override {
    if (insertion) items.push_back({path.substr(path.rfind('/') + 1), path, path, false});
    return insertion;
  }
  // What cannot be removed by the test's word fails with -50.
  platform::Outcome remove(const platform::LoginItem& item) override {
    removals.push_back(item.reference);
    if (item.reference == irremovable)
      return platform::SystemError{"OSStatus", -50, item.reference};
    std::erase_if(items, [&](const auto& kept) { return kept.reference == item.reference; });
    return {};
  }
  std::vector<platform::LoginItem> items;
  std::vector<std::string> removals;
  std::string irremovable = "-";
  platform::Outcome insertion;
};

// The test announces with announce(); `holds` counts what hold() was granted.
class FakeSessionEnd : public platform::SessionEnd {
 public:
  void observe(std::function<void()> announced) override { observer = std::move(announced); }
  bool hold(const std::string& why) override {
    if (!held) ++holds;
    held = why;
    return true;
  }
  void release() override { held.reset(); }
  void announce() const {
    if (observer) observer();
  }

  std::function<void()> observer;
  std::optional<std::string> held;  // why
  std::size_t holds = 0;
};

class FakeMachine : public platform::Machine {
 public:
  std::uint64_t physicalMemory() const override { return memory; }
  std::optional<platform::VirtualMemoryPages> virtualMemory() const override { return pages; }
  std::optional<std::string> hardwareModel(int& code) const override {
    code = errorCode;
    return model;
  }
  std::optional<std::uint32_t> processorFrequency(int& code) const override {
    code = errorCode;
    return frequency;
  }
  std::int64_t processorCount() const override { return processors; }
  double uptime() const override { return uptimeSeconds; }
  std::optional<bool> isSystemAtLeast(int major, int minor, int) const override {
    if (!answersVersion) return std::nullopt;
    return std::pair(systemMajor, systemMinor) >= std::pair(major, minor);
  }
  std::optional<std::string> productVersion() const override { return product; }

  std::uint64_t memory = 16ULL << 30U;
  std::optional<platform::VirtualMemoryPages> pages;
  std::optional<std::string> model;
  std::optional<std::uint32_t> frequency;
  int errorCode = -1;
  std::int64_t processors = 4;
  double uptimeSeconds = 0;
  bool answersVersion = true;
  int systemMajor = 11;
  int systemMinor = 0;
  std::optional<std::string> product;
};

// A platform laid out below one folder, its "root".
class FakePlaces : public platform::Places {
 public:
  explicit FakePlaces(std::string root) : root_(std::move(root)) {}

  std::string tool(platform::Tool tool) const override {
    return valueIn(tools, tool).value_or("/nonexistent");
  }
  std::optional<std::string> home() const override {
    return homeIsKnown ? std::optional(root_ + "/home") : std::nullopt;
  }
  std::vector<std::string> applicationSupportDirectories() const override {
    return {root_ + "/home/support"};
  }
  std::vector<std::string> cachesDirectories() const override { return {root_ + "/home/caches"}; }
  std::string preferencesDirectory() const override { return root_ + "/home/preferences"; }
  std::string volumesDirectory() const override { return root_ + "/Volumes"; }
  std::string usersDirectory() const override { return root_ + "/Users"; }
  std::vector<std::string> protectedDirectories() const override { return protectedPaths; }
  std::vector<std::string> libraryPrefixes() const override { return {root_ + "/home/Library"}; }
  std::vector<std::string> allowedLibraryPrefixes() const override {
    return {root_ + "/home/Library/Developer"};
  }
  bool isVolumeType(std::string_view type) const override {
    return type == "tmpfs" || type == "ext4";
  }
  platform::KindTable kindTable() const override { return kinds; }

  std::map<platform::Tool, std::string> tools;
  std::vector<std::string> protectedPaths;
  platform::KindTable kinds;
  bool homeIsKnown = true;

 private:
  std::string root_;
};

}  // namespace doubles
