#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "platform/FileCopying.h"
#include "system/copier/TreeWalk.h"

namespace copier {

// Takes out of a folder what is the same file as in another one, with the folders that are empty
// after that. Side 0 is the folder, side 1 the other.
class SharedRemover : public WalkVisitor {
 public:
  SharedRemover(const platform::FileCopying& system, OpenFolders& open)
      : system_(system), open_(open) {}

  std::optional<Sides> begin(const char* folder, const char* other) const;
  std::uint64_t removed() const { return removed_; }

  std::optional<Sides> enter(const FolderPtr& folder, const Sides& above) override;
  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;
  void leave(const FolderPtr& folder, const Sides& sides) override;
  bool takesAway() const override { return true; }
  void failed(const Folder& folder, const char* verb, int code) override;

 private:
  std::optional<Sides> open(int folder, const char* folderName, int other,
                            const char* otherName) const;

  const platform::FileCopying& system_;
  OpenFolders& open_;
  std::atomic<std::uint64_t> removed_{0};
};

}  // namespace copier
