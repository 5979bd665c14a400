// A copy is a walk of the originals (TreeWalk) in step with the folders that it makes and, where
// there is one, the earlier copy: the three sides of each folder. Here are what is done with
// folders (ItemCopier) and the run as a whole (CopyRun); entries are done by EntryCopier, one for
// each thread, which asks TakeOver first and FileContents then. SourceFolders decides which side a
// folder is read from.
//
// A folder is made open to its owner only and gets mode, owner, times and lists when all in it is
// there: nobody looks into half a copy with rights that only the whole one should give, and its
// times are not moved on by what is still made in it. Files are made the same way. A copy that is
// cut off therefore shows by its modes what was not finished; that it must not be used is for the
// caller to remember.
//
// A failure concerns one entry. It is logged, counted, and named by its path in the outcome, and
// the run goes on: of a tree with one unreadable file all others are to arrive.

#include "system/TreeCopier.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/QVLog.h"
#include "platform/Services.h"
#include "system/Errno.h"
#include "system/copier/EntryCopier.h"
#include "system/copier/SourceFolders.h"
#include "system/copier/TreeWalk.h"

namespace copier {
namespace {

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

std::optional<Sides> ItemCopier::beginItem(const FolderPtr& root, SourceFolders::Opened opened,
                                           const std::string& to) {
  if (opened.error != 0) failed(*root, "openat", opened.error);
  if (!opened.canBeWalked(*root)) return std::nullopt;
  opened.sides[kTo] = makeCopy(*root, AT_FDCWD, to.c_str());
  if (!opened.sides[kTo]) return std::nullopt;
  shared_.system.dropAccessLists(opened.sides[kTo].get());
  copy_ = root->identities[kTo];
  return std::move(opened.sides);
}

Sides ItemCopier::beginItems(const FolderPtr& root, SourceFolders::Opened opened, Descriptor to) {
  rootIsKept_ = true;
  root->handsListsDown = shared_.system.handsListsDown(to.get());
  copy_ = FolderIdentity::of(to.get());
  opened.sides[kTo] = std::move(to);
  return std::move(opened.sides);
}

std::optional<Sides> ItemCopier::enter(const FolderPtr& folder, const Sides& above) {
  auto opened = sources_.open(*folder, above);
  if (isItsOwnCopy(*folder)) return failed(*folder, "openat", EINVAL), std::nullopt;
  if (opened.error != 0 && opened.error != ENOENT) failed(*folder, "openat", opened.error);
  if (!opened.canBeWalked(*folder)) return std::nullopt;
  opened.sides[kTo] = makeCopy(*folder, above[kTo].get(), folder->name.c_str());
  if (!opened.sides[kTo]) return std::nullopt;
  if (folder->parent->handsListsDown) shared_.system.dropAccessLists(opened.sides[kTo].get());
  if (opened.otherMount) failed(*folder, "openat", EXDEV);
  if (!opened.otherMount || folder->listed == kEarlier) return std::move(opened.sides);
  leave(folder, opened.sides);
  return std::nullopt;
}

void ItemCopier::visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
                       unsigned worker) {
  auto& copier = workers_[worker];
  if (!copier) copier = std::make_unique<EntryCopier>(shared_);
  const int earlier = folder->listed == kEarlier ? -1 : sides[kEarlier].get();
  copier->copy({folder,
                folder->origin,
                {sides[folder->listed].get(), entry.name},
                {sides[kTo].get(), entry.name},
                {earlier, entry.name}},
               entry.kind);
}

NameList ItemCopier::more(const FolderPtr& folder, const Sides& sides) {
  return sources_.lacking(*folder, sides);
}

// From the original, although what it lacks came from elsewhere.
void ItemCopier::leave(const FolderPtr& folder, const Sides& sides) {
  if (rootIsKept_ && !folder->parent) return;
  const int from = (sides[kFrom] ? sides[kFrom] : sides[kEarlier]).get();
  struct stat facts {};
  if (fstat(from, &facts) != 0) return notLeft(*folder, errno);
  const bool owned = folder->ownsWhatIsMade && shared_.makesOwnerOf(facts);
  const ItemAttributes attributes(shared_.system, facts, owned);
  if (const auto given = attributes.give(from, sides[kTo].get()); !given)
    shared_.tally.addFailure(folder->relativePath(), given.error());
}

void ItemCopier::failed(const Folder& folder, const char* verb, int code) {
  shared_.tally.addFailure(verb, folder.relativePath(), code);
}

void ItemCopier::notLeft(const Folder& folder, int code) {
  shared_.tally.addFailure(folder.relativePath(), {"POSIX", code, errnoText(code)});
}

Descriptor ItemCopier::makeCopy(Folder& folder, int above, const char* name) {
  if (mkdirat(above, name, S_IRWXU) != 0) {
    fail(folder, "mkdirat");
    return {};
  }
  Descriptor made(openat(above, name, kOpenFolder));
  struct stat facts {};
  if (!made || fstat(made.get(), &facts) != 0) {
    fail(folder, "openat");
    unlinkat(above, name, AT_REMOVEDIR);
    return {};
  }
  folder.identities[kTo] = FolderIdentity::of(facts);
  folder.ownsWhatIsMade = shared_.makesOwnerOf(facts);
  shared_.tally.addEntry();
  return made;
}

bool ItemCopier::isItsOwnCopy(const Folder& folder) const {
  return copy_.inode != 0 && folder.identities[kFrom] == copy_;
}

void ItemCopier::fail(const Folder& folder, const char* verb) { failed(folder, verb, errno); }

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

std::string lastName(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

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

}  // namespace
}  // namespace copier

CopyOutcome copyItemAtPath(const std::string& from, const std::string& to,
                           const CopyOptions& options) {
  return copier::CopyRun(options, copier::threadsFor(options.threads))
      .copyItem(copier::withoutSlashes(from), copier::withoutSlashes(to));
}

CopyOutcome copyItems(const std::vector<std::string>& names, const std::string& fromFolder,
                      const std::string& toFolder, const CopyOptions& options) {
  return copier::CopyRun(options, copier::threadsFor(options.threads))
      .copyItems(names, copier::withoutSlashes(fromFolder), copier::withoutSlashes(toFolder));
}

platform::Result<timespec> changeTime(const std::string& path) {
  struct stat facts {};
  if (fstatat(AT_FDCWD, path.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
    return errnoError(errno, path);
  return platform::services().fileCopying->changeTime(facts);
}

// Narrowed first, so that nobody looks in between the old rights and the new ones.
platform::Outcome copyDirectoryAttributes(const std::string& from, const std::string& to,
                                          const std::string& leftOut) {
  const auto& system = *platform::services().fileCopying;
  const Descriptor source(system.openFolder(AT_FDCWD, copier::withoutSlashes(from).c_str()));
  struct stat facts {};
  if (!source || fstat(source.get(), &facts) != 0) return errnoError(errno, from);
  const Descriptor destination(system.openFolder(AT_FDCWD, copier::withoutSlashes(to).c_str()));
  if (!destination || fchmod(destination.get(), facts.st_mode & S_IRWXU) != 0)
    return errnoError(errno, to);
  system.dropAccessLists(destination.get());
  const auto given =
      copier::ItemAttributes(system, facts, false).give(source.get(), destination.get(), leftOut);
  if (given) return {};
  auto error = given.error();
  error.text = to + ": " + error.text;
  return error;
}
