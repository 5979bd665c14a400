#pragma once

#include <cstdint>

#include "platform/Result.h"
#include "system/copier/LinkTable.h"
#include "system/copier/MeasuringWalk.h"
#include "system/copier/UnchangedRule.h"

namespace copier {

// Counts the bytes that a copy would write.
class ByteCount : public MeasuringWalk {
 public:
  static platform::Result<std::uint64_t> of(const std::vector<std::string>& names,
                                            const std::string& folder,
                                            const std::optional<EarlierCopy>& earlier,
                                            unsigned threads);

  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;

 private:
  ByteCount(const std::optional<EarlierCopy>& earlier, dev_t device);

  bool isTakenOver(const Folder& folder, const Sides& sides, const char* name,
                   const struct stat& facts) const;
  bool isFirstLink(const FolderPtr& folder, const char* name, const struct stat& facts);

  const UnchangedRule rule_;
  LinkTable links_;
  std::atomic<std::uint64_t> bytes_{0};
};

}  // namespace copier
