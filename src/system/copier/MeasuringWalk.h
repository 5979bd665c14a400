#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "system/copier/SourceFolders.h"
#include "system/copier/TreeWalk.h"

namespace copier {

// A walk over items that only looks.
class MeasuringWalk : public WalkVisitor {
 public:
  MeasuringWalk(const platform::FileCopying& system, const std::optional<EarlierCopy>& earlier)
      : sources_(system, earlier) {}

  // Once. An errno value when the folder itself cannot be opened.
  int run(const std::vector<std::string>& names, const std::string& folder, unsigned threads);

  std::optional<Sides> enter(const FolderPtr& folder, const Sides& above) override;
  NameList more(const FolderPtr& folder, const Sides& sides) override;
  void leave(const FolderPtr& /*folder*/, const Sides& /*sides*/) override {}
  void failed(const Folder& folder, const char* verb, int code) override;

 protected:
  // A folder is about to be walked. Any thread, as the next.
  virtual void entered(const Folder& /*folder*/, const Sides& /*sides*/) {}
  virtual void notSeen() {}  // something could not be looked at

  // What is not visited any more: the answer is known.
  virtual bool isDone() const { return false; }

 private:
  SourceFolders sources_;
};

}  // namespace copier
