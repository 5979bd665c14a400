#pragma once

#include <string>
#include <vector>

#include "system/copier/ItemCopier.h"

namespace copier {

// One call of the copier.
class CopyRun {
 public:
  CopyRun(const CopyOptions& options, unsigned threads);

  CopyOutcome copyItem(const std::string& from, const std::string& to);
  CopyOutcome copyItems(const std::vector<std::string>& names, const std::string& fromFolder,
                        const std::string& toFolder);

 private:
  struct Parts;

  void copyFolder(Parts& parts, const std::string& from, const std::string& to,
                  const std::string& item);
  void copyEntry(Parts& parts, const std::string& from, const std::string& to,
                 const std::string& item, EntryKind kind);
  void copyNamed(Parts& parts, const std::vector<std::string>& names, const FolderPtr& root,
                 SourceFolders::Opened opened, Descriptor to);

  const platform::FileCopying& system_;
  const CopyOptions& options_;
  const unsigned threads_;
};

}  // namespace copier
