#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "system/copier/EntryCopier.h"
#include "system/copier/TreeWalk.h"

namespace copier {

// Makes the copy of a folder during the walk of the original. Its folders are open to their owner
// only until all in them is there.
class ItemCopier : public WalkVisitor {
 public:
  ItemCopier(CopyShared& shared, unsigned threads) : shared_(shared), workers_(threads) {}

  // The root, by its path. nullopt when it cannot be copied; the tally has the reason.
  std::optional<Sides> begin(const FolderPtr& root, const std::string& to);

  std::optional<Sides> enter(const FolderPtr& folder, const Sides& above) override;
  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;
  void leave(const FolderPtr& folder, const Sides& sides) override;
  void failed(const Folder& folder, const char* verb, int code) override;

 private:
  Descriptor openOriginal(const Folder& folder, int above);
  Descriptor makeCopy(Folder& folder, int above, const char* name);
  bool isOnSameMount(int original) const;
  void fail(const Folder& folder, const char* verb);

  CopyShared& shared_;
  std::vector<std::unique_ptr<EntryCopier>> workers_;  // each made by its own thread
  dev_t device_ = 0;                                   // where the original lies
  std::uint64_t mount_ = 0;
  FolderIdentity copy_;  // its root, which must not be copied into itself
};

}  // namespace copier
