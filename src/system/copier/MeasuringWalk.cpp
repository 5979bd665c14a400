#include "system/copier/MeasuringWalk.h"

#include "system/copier/NamedEntries.h"

namespace copier {

int MeasuringWalk::run(const std::vector<std::string>& names, const std::string& folder,
                       unsigned threads) {
  const auto root = std::make_shared<Folder>(nullptr, folder);
  auto opened = sources_.openRoot(*root, "");
  if (!opened.canBeWalked(*root)) return opened.error;
  NamedEntries entries(opened.sides[root->listed].get(), names);
  if (!entries.missing.empty() || opened.error != 0) notSeen();
  OpenFolders open;
  TreeWalk(*this, open, threads).run(root, std::move(opened.sides), std::move(entries.found));
  return 0;
}

std::optional<Sides> MeasuringWalk::enter(const FolderPtr& folder, const Sides& above) {
  if (isDone()) return std::nullopt;
  auto opened = sources_.open(*folder, above);
  if (opened.error != 0) notSeen();
  if (!opened.canBeWalked(*folder)) return std::nullopt;
  entered(*folder, opened.sides);
  if (opened.otherMount) return std::nullopt;
  return std::move(opened.sides);
}

NameList MeasuringWalk::more(const FolderPtr& folder, const Sides& sides) {
  return sources_.lacking(*folder, sides);
}

void MeasuringWalk::failed(const Folder& /*folder*/, const char* /*verb*/, int /*code*/) {
  notSeen();
}

}  // namespace copier
