#include "platform/posix/LocalNotifications.h"

#include <mutex>
#include <utility>
#include <vector>

namespace platform {

class LocalNotifications::Observers {
 public:
  ObserverId add(const std::string& name, Observer observer) {
    const std::lock_guard lock(mutex_);
    all_[++last_] = {name, std::make_shared<const Observer>(std::move(observer))};
    return last_;
  }

  void remove(ObserverId observer) {
    Entry removed;  // outlives the lock: what it holds may use this object when it goes
    const std::lock_guard lock(mutex_);
    if (const auto found = all_.find(observer); found != all_.end()) {
      removed = std::move(found->second);
      all_.erase(found);
    }
  }

  void clear() {
    std::map<ObserverId, Entry> removed;
    const std::lock_guard lock(mutex_);
    removed.swap(all_);
  }

  // Calls those of its name, unlocked. One that another removes meanwhile is left out.
  void deliver(const Notification& notification) {
    for (const ObserverId id : observersOf(notification.name)) {
      if (const auto observer = find(id)) (*observer)(notification);
    }
  }

 private:
  struct Entry {
    std::string name;
    std::shared_ptr<const Observer> observer;
  };

  std::vector<ObserverId> observersOf(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    std::vector<ObserverId> found;
    for (const auto& [id, entry] : all_) {
      if (entry.name == name) found.push_back(id);
    }
    return found;
  }

  std::shared_ptr<const Observer> find(ObserverId id) const {
    const std::lock_guard lock(mutex_);
    const auto found = all_.find(id);
    return found == all_.end() ? nullptr : found->second.observer;
  }

  mutable std::mutex mutex_;  // guards what follows
  std::map<ObserverId, Entry> all_;
  ObserverId last_ = 0;
};

LocalNotifications::LocalNotifications(std::shared_ptr<MainLoop> mainLoop)
    : mainLoop_(std::move(mainLoop)), observers_(std::make_shared<Observers>()) {}

LocalNotifications::~LocalNotifications() { observers_->clear(); }

void LocalNotifications::post(const Notification& notification) {
  mainLoop_->post(delivery(notification));
}

MainLoop::Task LocalNotifications::delivery(const Notification& notification) const {
  return [observers = observers_, notification] { observers->deliver(notification); };
}

LocalNotifications::ObserverId LocalNotifications::observe(const std::string& name,
                                                           Observer observer) {
  return observers_->add(name, std::move(observer));
}

void LocalNotifications::remove(ObserverId observer) { observers_->remove(observer); }

}  // namespace platform
