#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "system/copier/EntryCopier.h"
#include "system/copier/SourceFolders.h"
#include "system/copier/TreeWalk.h"

namespace copier {

// Makes copies of folders during the walk of the originals. They are open to their owner only until
// all in them is there.
class ItemCopier : public WalkVisitor {
 public:
  ItemCopier(CopyShared& shared, SourceFolders& sources, unsigned threads)
      : shared_(shared), sources_(sources), workers_(threads) {}

  // The one item, by its path. nullopt when it cannot be copied; the tally has the reason.
  std::optional<Sides> beginItem(const FolderPtr& root, SourceFolders::Opened opened,
                                 const std::string& to);

  // The folder that holds the items; `to` is the open folder where the copies go.
  Sides beginItems(const FolderPtr& root, SourceFolders::Opened opened, Descriptor to);

  std::optional<Sides> enter(const FolderPtr& folder, const Sides& above) override;
  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;
  NameList more(const FolderPtr& folder, const Sides& sides) override;
  void leave(const FolderPtr& folder, const Sides& sides) override;
  void failed(const Folder& folder, const char* verb, int code) override;
  void notLeft(const Folder& folder, int code) override;

 private:
  Descriptor makeCopy(Folder& folder, int above, const char* name);
  bool isItsOwnCopy(const Folder& folder) const;
  void fail(const Folder& folder, const char* verb);

  CopyShared& shared_;
  SourceFolders& sources_;
  std::vector<std::unique_ptr<EntryCopier>> workers_;  // each made by its own thread
  FolderIdentity copy_;      // its root, which must not be copied into itself
  bool rootIsKept_ = false;  // the root of the copy keeps its own attributes
};

}  // namespace copier
