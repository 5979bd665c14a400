#pragma once
// The real port, of which one chosen call fails, to show what remains after each failure.

#include <cerrno>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/linux/LinuxPlaces.h"
#include "platform/linux/LinuxVolumes.h"
#include "platform/posix/PosixFiles.h"

// Which call of which verb fails. Verbs are the names of the seam's methods; a tool's is "tool:"
// and its position in platform::Tool. Shared by all parts of one set of services.
class FaultPlan {
 public:
  // Only the `nth` call of the verb from now on fails, and with `forGood` every one after it.
  void fail(const std::string& verb, int nth = 1, bool forGood = false) {
    const std::lock_guard lock(mutex_);
    armed_.clear();
    armed_[verb] = {nth, forGood};
    calls_.clear();
    hits_ = 0;
  }

  void clear() {
    const std::lock_guard lock(mutex_);
    armed_.clear();
    calls_.clear();
  }

  bool strikes(const std::string& verb) {
    const std::lock_guard lock(mutex_);
    const int call = ++calls_[verb];
    const auto found = armed_.find(verb);
    if (found == armed_.end()) return false;
    const auto [nth, forGood] = found->second;
    const bool hit = call == nth || (forGood && call > nth);
    hits_ += hit ? 1 : 0;
    return hit;
  }

  // How many calls were made to fail; a test whose fault never struck shows nothing.
  int hits() const {
    const std::lock_guard lock(mutex_);
    return hits_;
  }

  // The call's answer, or the failure that struck instead of it.
  template <class Call>
  auto answer(const std::string& verb, Call call) -> decltype(call()) {
    if (strikes(verb)) return platform::SystemError{"POSIX", EIO, "injected failure"};
    return call();
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::pair<int, bool>> armed_;
  std::map<std::string, int> calls_;
  int hits_ = 0;
};

using FaultPlanPtr = std::shared_ptr<FaultPlan>;

class FaultyFiles : public platform::PosixFiles {
 public:
  explicit FaultyFiles(FaultPlanPtr plan) : plan_(std::move(plan)) {}

  bool isWritable(const std::string& path) const override {
    return !plan_->strikes("isWritable") && PosixFiles::isWritable(path);
  }
  platform::Result<std::vector<std::string>> names(const std::string& path) const override {
    return plan_->answer("names", [&] { return PosixFiles::names(path); });
  }
  platform::Result<platform::FileTimes> times(const std::string& path) const override {
    return plan_->answer("times", [&] { return PosixFiles::times(path); });
  }
  platform::Outcome remove(const std::string& path) override {
    return plan_->answer("remove", [&] { return PosixFiles::remove(path); });
  }
  platform::Outcome move(const std::string& from, const std::string& to) override {
    return plan_->answer("move", [&] { return PosixFiles::move(from, to); });
  }
  platform::Outcome exchange(const std::string& one, const std::string& other) override {
    return plan_->answer("exchange", [&] { return PosixFiles::exchange(one, other); });
  }
  platform::Outcome removeEmpty(const std::string& path) override {
    return plan_->answer("removeEmpty", [&] { return PosixFiles::removeEmpty(path); });
  }
  platform::Outcome createDirectories(const std::string& path) override {
    return plan_->answer("createDirectories", [&] { return PosixFiles::createDirectories(path); });
  }
  platform::Result<std::string> contents(const std::string& path) const override {
    return plan_->answer("contents", [&] { return PosixFiles::contents(path); });
  }
  platform::Outcome replaceContents(const std::string& path, std::string_view bytes) override {
    return plan_->answer("replaceContents",
                         [&] { return PosixFiles::replaceContents(path, bytes); });
  }
  platform::Result<std::shared_ptr<platform::FileLock>> lock(const std::string& path) override {
    return plan_->answer("lock", [&] { return PosixFiles::lock(path); });
  }
  platform::Outcome flush(const std::string& folder) override {
    return plan_->answer("flush", [&] { return PosixFiles::flush(folder); });
  }
  platform::Outcome flushNames(const std::string& folder) override {
    return plan_->answer("flushNames", [&] { return PosixFiles::flushNames(folder); });
  }

 private:
  FaultPlanPtr plan_;
};

class FaultyVolumes : public platform::LinuxVolumes {
 public:
  explicit FaultyVolumes(FaultPlanPtr plan) : plan_(std::move(plan)) {}

  platform::Result<std::size_t> mountCount() const override {
    return plan_->answer("mountCount", [&] { return LinuxVolumes::mountCount(); });
  }
  platform::Result<std::vector<platform::Mount>> mounts(std::size_t most) const override {
    return plan_->answer("mounts", [&] { return LinuxVolumes::mounts(most); });
  }
  platform::Result<platform::FileSystemAttributes> attributes(
      const std::string& path) const override {
    return plan_->answer("attributes", [&] { return LinuxVolumes::attributes(path); });
  }
  platform::Result<std::uint64_t> fileSystemNumber(const std::string& path) const override {
    return plan_->answer("fileSystemNumber", [&] { return LinuxVolumes::fileSystemNumber(path); });
  }
  platform::Result<std::int32_t> deviceNumber(const std::string& path) const override {
    return plan_->answer("deviceNumber", [&] { return LinuxVolumes::deviceNumber(path); });
  }
  platform::Outcome setAttribute(const std::string& path, const std::string& name,
                                 const std::string& value) override {
    return plan_->answer("setAttribute",
                         [&] { return LinuxVolumes::setAttribute(path, name, value); });
  }
  platform::Result<std::string> attribute(const std::string& path,
                                          const std::string& name) const override {
    return plan_->answer("attribute", [&] { return LinuxVolumes::attribute(path, name); });
  }

 private:
  FaultPlanPtr plan_;
};

// Hands out a stand-in for the tool whose run is to fail, and for tools that a test replaces.
class FaultyPlaces : public platform::LinuxPlaces {
 public:
  FaultyPlaces(const LinuxPlaces& real, FaultPlanPtr plan, std::string failingTool)
      : LinuxPlaces(real), plan_(std::move(plan)), failingTool_(std::move(failingTool)) {}

  std::string tool(platform::Tool tool) const override {
    if (plan_->strikes(verb(tool))) return failingTool_;
    const auto replaced = replacements.find(tool);
    return replaced == replacements.end() ? realTool(tool) : replaced->second;
  }
  static std::string verb(platform::Tool tool) {
    return "tool:" + std::to_string(static_cast<int>(tool));
  }
  std::string realTool(platform::Tool tool) const { return LinuxPlaces::tool(tool); }

  std::string volumesDirectory() const override {
    return volumes.empty() ? LinuxPlaces::volumesDirectory() : volumes;
  }
  platform::KindTable kindTable() const override {
    return kinds ? *kinds : LinuxPlaces::kindTable();
  }

  std::map<platform::Tool, std::string> replacements;
  std::string volumes;
  std::optional<platform::KindTable> kinds;

 private:
  FaultPlanPtr plan_;
  std::string failingTool_;
};
