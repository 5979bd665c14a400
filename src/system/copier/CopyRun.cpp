#include "system/copier/CopyRun.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/Services.h"
#include "system/copier/NamedEntries.h"

namespace copier {
namespace {

std::string lastName(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

}  // namespace

// What lives as long as the run. `device` is where the originals lie.
struct CopyRun::Parts {
  Parts(const CopyRun& run, CopyTally& tally, dev_t device)
      : rule(run.system_, run.options_.earlier, device),
        shared{run.system_, open, tally, rule, geteuid(), getegid()},
        sources(run.system_, run.options_.earlier),
        copier(shared, sources, run.threads_) {}

  OpenFolders open;
  UnchangedRule rule;
  CopyShared shared;
  SourceFolders sources;
  ItemCopier copier;
};

CopyRun::CopyRun(const CopyOptions& options, unsigned threads)
    : system_(*platform::services().fileCopying), options_(options), threads_(threads) {}

CopyOutcome CopyRun::copyItem(const std::string& from, const std::string& to) {
  const std::string item = lastName(from);
  CopyTally tally(options_.progress, from, item);
  struct stat facts {};
  if (fstatat(AT_FDCWD, from.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) {
    tally.addFailure("lstat", "", errno);
    return tally.finish();
  }
  Parts parts(*this, tally, facts.st_dev);
  if (S_ISDIR(facts.st_mode))
    copyFolder(parts, from, to, item);
  else
    copyEntry(parts, from, to, item, kindOf(facts));
  return tally.finish();
}

void CopyRun::copyFolder(Parts& parts, const std::string& from, const std::string& to,
                         const std::string& item) {
  const auto root = std::make_shared<Folder>(nullptr, from);
  if (auto sides = parts.copier.beginItem(root, parts.sources.openRoot(*root, item), to))
    TreeWalk(parts.copier, parts.open, threads_).run(root, *std::move(sides));
}

void CopyRun::copyEntry(Parts& parts, const std::string& from, const std::string& to,
                        const std::string& item, EntryKind kind) {
  Descriptor earlier;
  if (options_.earlier)
    earlier = Descriptor(system_.openFolder(AT_FDCWD, options_.earlier->folder.c_str()));
  EntryCopier(parts.shared)
      .copy({nullptr,
             Origin::Original,
             {AT_FDCWD, from.c_str()},
             {AT_FDCWD, to.c_str()},
             {earlier.get(), item.c_str()}},
            kind);
}

CopyOutcome CopyRun::copyItems(const std::vector<std::string>& names, const std::string& fromFolder,
                               const std::string& toFolder) {
  CopyTally tally(options_.progress, fromFolder, "");
  const auto failAll = [&](const char* verb, int code) {
    for (const auto& name : names) tally.addFailure(verb, name, code);
  };
  Descriptor to(system_.openFolder(AT_FDCWD, toFolder.c_str()));
  struct stat facts {};
  if (!to) {
    failAll("open destination", errno);
  } else if (fstatat(AT_FDCWD, fromFolder.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) {
    failAll("lstat", errno);
  } else {
    Parts parts(*this, tally, facts.st_dev);
    const auto root = std::make_shared<Folder>(nullptr, fromFolder);
    auto opened = parts.sources.openRoot(*root, "");
    if (opened.error != 0) failAll("openat", opened.error);
    if (opened.canBeWalked(*root)) copyNamed(parts, names, root, std::move(opened), std::move(to));
  }
  return tally.finish();
}

// Items that cannot be looked at have been counted already where the whole folder cannot be read.
void CopyRun::copyNamed(Parts& parts, const std::vector<std::string>& names, const FolderPtr& root,
                        SourceFolders::Opened opened, Descriptor to) {
  NamedEntries entries(opened.sides[root->listed].get(), names);
  for (const auto& [name, code] : entries.missing)
    if (opened.error == 0) parts.shared.tally.addFailure("lstat", name, code);
  auto sides = parts.copier.beginItems(root, std::move(opened), std::move(to));
  TreeWalk(parts.copier, parts.open, threads_)
      .run(root, std::move(sides), std::move(entries.found));
}

}  // namespace copier
