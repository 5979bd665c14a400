#pragma once
// Decorators of the seam that make one chosen call fail, to show what remains after each failure.

#include <cerrno>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/Services.h"

// Which call of which verb fails. Verbs are the names of the seam's methods; a tool's is "tool:"
// and its position in platform::Tool. Shared by all decorators of one set of services.
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

class FaultyFiles : public platform::Files {
 public:
  FaultyFiles(std::shared_ptr<platform::Files> real, FaultPlanPtr plan)
      : real_(std::move(real)), plan_(std::move(plan)) {}

  platform::FileKind kind(const std::string& path) const override { return real_->kind(path); }
  bool isWritable(const std::string& path) const override {
    return !plan_->strikes("isWritable") && real_->isWritable(path);
  }
  bool isExecutable(const std::string& path) const override { return real_->isExecutable(path); }
  bool isDeletable(const std::string& path) const override { return real_->isDeletable(path); }
  platform::Result<std::vector<std::string>> names(const std::string& path) const override {
    return plan_->answer("names", [&] { return real_->names(path); });
  }
  platform::Result<platform::FileTimes> times(const std::string& path) const override {
    return plan_->answer("times", [&] { return real_->times(path); });
  }
  platform::Outcome remove(const std::string& path) override {
    return plan_->answer("remove", [&] { return real_->remove(path); });
  }
  platform::Outcome move(const std::string& from, const std::string& to) override {
    return plan_->answer("move", [&] { return real_->move(from, to); });
  }
  platform::Outcome createDirectories(const std::string& path) override {
    return plan_->answer("createDirectories", [&] { return real_->createDirectories(path); });
  }
  platform::Result<std::string> contents(const std::string& path) const override {
    return plan_->answer("contents", [&] { return real_->contents(path); });
  }
  platform::Outcome replaceContents(const std::string& path, std::string_view bytes) override {
    return plan_->answer("replaceContents", [&] { return real_->replaceContents(path, bytes); });
  }
  platform::Result<std::shared_ptr<void>> lock(const std::string& path) override {
    return plan_->answer("lock", [&] { return real_->lock(path); });
  }
  platform::Outcome flush(const std::string& folder) override {
    return plan_->answer("flush", [&] { return real_->flush(folder); });
  }
  platform::Outcome flushNames(const std::string& folder) override {
    return plan_->answer("flushNames", [&] { return real_->flushNames(folder); });
  }

 private:
  std::shared_ptr<platform::Files> real_;
  FaultPlanPtr plan_;
};

class FaultyVolumes : public platform::Volumes {
 public:
  FaultyVolumes(std::shared_ptr<platform::Volumes> real, FaultPlanPtr plan)
      : real_(std::move(real)), plan_(std::move(plan)) {}

  platform::Result<std::size_t> mountCount() const override {
    return plan_->answer("mountCount", [&] { return real_->mountCount(); });
  }
  platform::Result<std::vector<platform::Mount>> mounts(std::size_t most) const override {
    return plan_->answer("mounts", [&] { return real_->mounts(most); });
  }
  platform::Result<platform::FileSystemAttributes> attributes(
      const std::string& path) const override {
    return plan_->answer("attributes", [&] { return real_->attributes(path); });
  }
  platform::Result<std::uint64_t> fileSystemNumber(const std::string& path) const override {
    return plan_->answer("fileSystemNumber", [&] { return real_->fileSystemNumber(path); });
  }
  platform::Result<std::int32_t> deviceNumber(const std::string& path) const override {
    return plan_->answer("deviceNumber", [&] { return real_->deviceNumber(path); });
  }
  platform::Result<bool> isLocal(const std::string& path) const override {
    return real_->isLocal(path);
  }
  platform::VolumeUse use(const std::string& mountPoint) const override {
    return real_->use(mountPoint);
  }
  std::optional<std::string> volumeIdentifier(std::int32_t number) const override {
    return real_->volumeIdentifier(number);
  }
  platform::Outcome setAttribute(const std::string& path, const std::string& name,
                                 const std::string& value) override {
    return plan_->answer("setAttribute", [&] { return real_->setAttribute(path, name, value); });
  }
  platform::Outcome removeAttribute(const std::string& path, const std::string& name) override {
    return real_->removeAttribute(path, name);
  }
  platform::Result<std::string> attribute(const std::string& path,
                                          const std::string& name) const override {
    return plan_->answer("attribute", [&] { return real_->attribute(path, name); });
  }
  platform::Result<std::vector<std::string>> attributeNames(
      const std::string& path) const override {
    return real_->attributeNames(path);
  }

 private:
  std::shared_ptr<platform::Volumes> real_;
  FaultPlanPtr plan_;
};

// Hands out a stand-in for the tool whose run is to fail, and for tools that a test replaces.
class FaultyPlaces : public platform::Places {
 public:
  FaultyPlaces(std::shared_ptr<platform::Places> real, FaultPlanPtr plan, std::string failingTool)
      : real_(std::move(real)), plan_(std::move(plan)), failingTool_(std::move(failingTool)) {}

  std::string tool(platform::Tool tool) const override {
    if (plan_->strikes(verb(tool))) return failingTool_;
    const auto replaced = replacements.find(tool);
    return replaced == replacements.end() ? real_->tool(tool) : replaced->second;
  }
  static std::string verb(platform::Tool tool) {
    return "tool:" + std::to_string(static_cast<int>(tool));
  }
  std::string realTool(platform::Tool tool) const { return real_->tool(tool); }

  std::optional<std::string> home() const override { return real_->home(); }
  std::vector<std::string> applicationSupportDirectories() const override {
    return real_->applicationSupportDirectories();
  }
  std::vector<std::string> cachesDirectories() const override { return real_->cachesDirectories(); }
  std::string preferencesDirectory() const override { return real_->preferencesDirectory(); }
  std::string volumesDirectory() const override {
    return volumes.empty() ? real_->volumesDirectory() : volumes;
  }
  std::string usersDirectory() const override { return real_->usersDirectory(); }
  std::vector<std::string> protectedDirectories() const override {
    return real_->protectedDirectories();
  }
  std::vector<std::string> libraryPrefixes() const override { return real_->libraryPrefixes(); }
  std::vector<std::string> allowedLibraryPrefixes() const override {
    return real_->allowedLibraryPrefixes();
  }
  bool isVolumeType(std::string_view type) const override { return real_->isVolumeType(type); }
  platform::KindTable kindTable() const override { return kinds ? *kinds : real_->kindTable(); }

  std::map<platform::Tool, std::string> replacements;
  std::string volumes;
  std::optional<platform::KindTable> kinds;

 private:
  std::shared_ptr<platform::Places> real_;
  FaultPlanPtr plan_;
  std::string failingTool_;
};
