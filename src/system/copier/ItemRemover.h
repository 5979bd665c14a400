#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileCopying.h"
#include "system/TreeRemover.h"
#include "system/copier/TreeWalk.h"

namespace copier {

// Removes items of a folder, the root of the walk, which stays. What another program removed
// meanwhile is as good as removed.
class ItemRemover : public WalkVisitor {
 public:
  ItemRemover(const platform::FileCopying& system, OpenFolders& open)
      : system_(system), open_(open) {}

  // The items to walk over; those that are not there have failed. Notes the mount that the walk
  // stays on.
  NameList begin(const FolderPtr& root, const std::vector<std::string>& names, int opened);

  void fail(const std::string& item, std::string_view verb, const std::string& path, int code);
  RemovalOutcome finish();  // when the walk is done

  std::optional<Sides> enter(const FolderPtr& folder, const Sides& above) override;
  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;
  void leave(const FolderPtr& folder, const Sides& sides) override;
  bool takesAway() const override { return true; }
  void failed(const Folder& folder, const char* verb, int code) override;

 private:
  bool unlinked(int folder, const char* name, int flags);
  Descriptor openFolder(int above, const char* name) const;
  bool unlock(int above, const char* name) const;
  bool isOnMount(int folder) const;

  const platform::FileCopying& system_;
  OpenFolders& open_;
  dev_t device_ = 0;  // where the items lie
  std::uint64_t mount_ = 0;
  std::atomic<std::uint64_t> removed_{0};

  std::mutex mutex_;
  std::map<std::string, platform::SystemError> failures_;  // guarded by mutex_
};

}  // namespace copier
