#pragma once

#include <ctime>

#include "system/copier/MeasuringWalk.h"

namespace copier {

// Looks for an entry whose inode changed at a given time or later, until it finds one.
class ChangeSearch : public MeasuringWalk {
 public:
  static bool finds(const std::vector<std::string>& names, const std::string& folder,
                    const timespec& since, unsigned threads);

  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;

 private:
  ChangeSearch(const platform::FileCopying& system, const timespec& since, dev_t device)
      : MeasuringWalk(system, std::nullopt), system_(system), since_(since), device_(device) {}

  void entered(const Folder& folder, const Sides& sides) override;
  void notSeen() override { found_ = true; }
  bool isDone() const override { return found_; }
  void look(int folder, const char* name);
  bool isChanged(const struct stat& facts) const;

  const platform::FileCopying& system_;
  const timespec since_;
  const dev_t device_;  // by whose clock `since` is
  std::atomic<bool> found_{false};
};

}  // namespace copier
