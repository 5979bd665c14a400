// What a copy would have to write, and whether there is anything new: walks over the same folders
// as a copy, by the same rules, that only look.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Result.h"
#include "platform/Services.h"
#include "system/Errno.h"
#include "system/TreeCopier.h"
#include "system/copier/LinkTable.h"
#include "system/copier/SourceFolders.h"
#include "system/copier/TakeOver.h"
#include "system/copier/TreeWalk.h"

namespace copier {
namespace {

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
  virtual void notOpened(const Folder& /*folder*/, int /*error*/) {}

  // What is not visited any more: the answer is known.
  virtual bool isDone() const { return false; }

 private:
  SourceFolders sources_;
};

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
  if (opened.error != 0) {
    notSeen();
    notOpened(*folder, opened.error);
  }
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

constexpr std::uint64_t kBlock = 4096;     // what file systems hand out
constexpr std::uint64_t kCountedIn = 512;  // what st_blocks counts in, everywhere

std::uint64_t inBlocks(std::uint64_t bytes) { return (bytes + kBlock - 1) / kBlock * kBlock; }

// Without the holes. Small files may take no blocks where they lie, but elsewhere they do.
std::uint64_t bytesOf(const struct stat& facts) {
  if (facts.st_size == 0) return 0;
  const auto taken = inBlocks(static_cast<std::uint64_t>(facts.st_blocks) * kCountedIn);
  return std::min(inBlocks(static_cast<std::uint64_t>(facts.st_size)), std::max(taken, kBlock));
}

platform::Result<std::uint64_t> ByteCount::of(const std::vector<std::string>& names,
                                              const std::string& folder,
                                              const std::optional<EarlierCopy>& earlier,
                                              unsigned threads) {
  struct stat facts {};
  int error = 0;
  if (fstatat(AT_FDCWD, folder.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) error = errno;
  ByteCount count(earlier, facts.st_dev);
  if (error == 0) error = count.run(names, folder, threads);
  if (error == 0) return count.bytes_.load();
  return errnoError(error, folder);
}

ByteCount::ByteCount(const std::optional<EarlierCopy>& earlier, dev_t device)
    : MeasuringWalk(*platform::services().fileCopying, earlier),
      rule_(*platform::services().fileCopying, earlier, device) {}

void ByteCount::visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
                      unsigned /*worker*/) {
  struct stat facts {};
  if (entry.kind != EntryKind::File ||
      fstatat(sides[folder->listed].get(), entry.name, &facts, AT_SYMLINK_NOFOLLOW) != 0)
    return;
  if (!isTakenOver(*folder, sides, entry.name, facts) && isFirstLink(folder, entry.name, facts))
    bytes_ += bytesOf(facts);
}

// Whether blocks can be shared is not known before the copy: here none are.
bool ByteCount::isTakenOver(const Folder& folder, const Sides& sides, const char* name,
                            const struct stat& facts) const {
  if (folder.origin == Origin::Unread || facts.st_nlink != 1 || !rule_.canTell()) return false;
  if (folder.origin == Origin::Lacked) return true;
  struct stat copy {};
  return sides[kEarlier] && fstatat(sides[kEarlier].get(), name, &copy, AT_SYMLINK_NOFOLLOW) == 0 &&
         copy.st_nlink == 1 && rule_.judge(facts, copy) != Unchanged::No;
}

bool ByteCount::isFirstLink(const FolderPtr& folder, const char* name, const struct stat& facts) {
  if (facts.st_nlink == 1) return true;
  auto turn = links_.turn(facts.st_dev, facts.st_ino);
  if (turn.made()) return false;
  turn.remember(folder, name);
  return true;
}

// Looks for an entry whose inode changed at a given time or later, until it finds one. Of folders
// alone it tells that names came or went.
class ChangeSearch : public MeasuringWalk {
 public:
  enum class Which { All, Folders };

  static bool finds(Which which, const std::vector<std::string>& names, const std::string& folder,
                    const timespec& since, unsigned threads);

  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;

 private:
  ChangeSearch(const platform::FileCopying& system, Which which, const timespec& since,
               dev_t device)
      : MeasuringWalk(system, std::nullopt),
        system_(system),
        which_(which),
        since_(since),
        device_(device) {}

  void entered(const Folder& folder, const Sides& sides) override;
  void notSeen() override { found_ = found_ || which_ == Which::All; }
  bool isDone() const override { return found_; }
  void look(int folder, const char* name);
  bool isChanged(const struct stat& facts) const;

  const platform::FileCopying& system_;
  const Which which_;
  const timespec since_;
  const dev_t device_;  // by whose clock `since` is
  std::atomic<bool> found_{false};
};

bool ChangeSearch::finds(Which which, const std::vector<std::string>& names,
                         const std::string& folder, const timespec& since, unsigned threads) {
  struct stat facts {};
  if (fstatat(AT_FDCWD, folder.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) return true;
  ChangeSearch search(*platform::services().fileCopying, which, since, facts.st_dev);
  return search.run(names, folder, threads) != 0 || search.found_;
}

void ChangeSearch::visit(const FolderPtr& /*folder*/, const Sides& sides,
                         const NameList::Entry& entry, unsigned /*worker*/) {
  if (!found_ && which_ == Which::All) look(sides[kFrom].get(), entry.name);
}

void ChangeSearch::entered(const Folder& /*folder*/, const Sides& sides) {
  struct stat facts {};
  if (fstat(sides[kFrom].get(), &facts) != 0 || isChanged(facts)) found_ = true;
}

void ChangeSearch::look(int folder, const char* name) {
  struct stat facts {};
  if (fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW) != 0 || isChanged(facts)) found_ = true;
}

// What lies elsewhere goes by another clock.
bool ChangeSearch::isChanged(const struct stat& facts) const {
  return facts.st_dev != device_ || !isBefore(system_.changeTime(facts), since_);
}

// Gathers what changed in a folder and is not so in a copy of it, which is the earlier side of this
// walk.
class ForeignChangeSearch : public MeasuringWalk {
 public:
  ForeignChangeSearch(const platform::FileCopying& system, const std::optional<EarlierCopy>& copy,
                      const timespec& since)
      : MeasuringWalk(system, copy), system_(system), since_(since) {}

  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;
  ForeignChanges found();

 private:
  bool isChanged(const struct stat& facts) const;
  bool isInCopy(int copy, const char* name, const struct stat& facts) const;

  const platform::FileCopying& system_;
  const timespec since_;
  std::mutex mutex_;
  ForeignChanges found_;  // guarded by mutex_
};

void ForeignChangeSearch::visit(const FolderPtr& folder, const Sides& sides,
                                const NameList::Entry& entry, unsigned /*worker*/) {
  struct stat facts {};
  if (folder->origin != Origin::Original ||
      fstatat(sides[kFrom].get(), entry.name, &facts, AT_SYMLINK_NOFOLLOW) != 0 ||
      !isChanged(facts) || isInCopy(sides[kEarlier].get(), entry.name, facts))
    return;
  const std::lock_guard lock(mutex_);
  if (found_.paths.size() >= ForeignChanges::kMost)
    found_.more = true;
  else
    found_.paths.push_back(folder->relativePath(entry.name));
}

// In the very tick of `since` inodes still change as a save takes their second names away; only
// what was written then as well was somebody else's.
bool ForeignChangeSearch::isChanged(const struct stat& facts) const {
  const timespec changed = system_.changeTime(facts);
  if (isBefore(changed, since_)) return false;
  return isBefore(since_, changed) || !isBefore(system_.times(facts)[1], since_);
}

bool ForeignChangeSearch::isInCopy(int copy, const char* name, const struct stat& facts) const {
  struct stat other {};
  if (copy < 0 || fstatat(copy, name, &other, AT_SYMLINK_NOFOLLOW) != 0) return false;
  if (other.st_dev == facts.st_dev && other.st_ino == facts.st_ino) return true;
  return other.st_size == facts.st_size && other.st_mode == facts.st_mode &&
         isSame(system_.times(other)[1], system_.times(facts)[1]);
}

ForeignChanges ForeignChangeSearch::found() {
  std::sort(found_.paths.begin(), found_.paths.end());
  return std::move(found_);
}

// Looks at every entry's kind, and at what its user may not read.
class ContentsWalk : public MeasuringWalk {
 public:
  ContentsWalk() : MeasuringWalk(*platform::services().fileCopying, std::nullopt) {}

  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;
  void failed(const Folder& folder, const char* verb, int code) override;
  ContentsLook found();

 private:
  void entered(const Folder& folder, const Sides& sides) override;
  void notOpened(const Folder& folder, int error) override;
  void add(std::vector<std::string>& paths, std::string path);

  const uid_t user_ = geteuid();
  std::atomic<std::uint64_t> entries_{0};
  std::mutex mutex_;
  ContentsLook found_;  // guarded by mutex_
};

bool isSpecialKind(const struct stat& facts) {
  return S_ISSOCK(facts.st_mode) || S_ISCHR(facts.st_mode) || S_ISBLK(facts.st_mode);
}

// Its owner's right shows in the mode; else the system is asked, which knows of groups and lists.
void ContentsWalk::visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
                         unsigned /*worker*/) {
  ++entries_;
  const int in = sides[kFrom].get();
  struct stat facts {};
  if (fstatat(in, entry.name, &facts, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (isSpecialKind(facts)) add(found_.special, folder->relativePath(entry.name));
  if (!S_ISREG(facts.st_mode)) return;
  const bool ownersRight = facts.st_uid == user_ && (facts.st_mode & S_IRUSR) != 0;
  if (!ownersRight && faccessat(in, entry.name, R_OK, AT_EACCESS) != 0)
    add(found_.unreadable, folder->relativePath(entry.name));
}

void ContentsWalk::entered(const Folder& /*folder*/, const Sides& /*sides*/) { ++entries_; }

void ContentsWalk::notOpened(const Folder& folder, int error) {
  if (error == EACCES || error == EPERM) add(found_.unreadable, folder.relativePath());
}

void ContentsWalk::failed(const Folder& folder, const char* /*verb*/, int code) {
  notOpened(folder, code);
}

void ContentsWalk::add(std::vector<std::string>& paths, std::string path) {
  const std::lock_guard lock(mutex_);
  paths.push_back(std::move(path));
}

ContentsLook ContentsWalk::found() {
  found_.entries = entries_;
  for (auto* paths : {&found_.unreadable, &found_.special}) {
    std::sort(paths->begin(), paths->end());
    paths->erase(std::unique(paths->begin(), paths->end()), paths->end());
  }
  return std::move(found_);
}

}  // namespace
}  // namespace copier

ContentsLook lookAtContents(const std::string& folder, unsigned threads) {
  const auto names = platform::services().files->names(folder);
  copier::ContentsWalk walk;
  if (names) walk.run(*names, copier::withoutSlashes(folder), copier::threadsFor(threads));
  return walk.found();
}

bool isSpecial(const std::string& path) {
  struct stat facts {};
  return lstat(path.c_str(), &facts) == 0 && copier::isSpecialKind(facts);
}

platform::Result<std::uint64_t> bytesToCopy(const std::vector<std::string>& names,
                                            const std::string& fromFolder,
                                            const std::optional<EarlierCopy>& earlier,
                                            unsigned threads) {
  return copier::ByteCount::of(names, copier::withoutSlashes(fromFolder), earlier,
                               copier::threadsFor(threads));
}

bool anyChangedSince(const std::vector<std::string>& names, const std::string& folder,
                     const timespec& since, unsigned threads) {
  return copier::ChangeSearch::finds(copier::ChangeSearch::Which::All, names,
                                     copier::withoutSlashes(folder), since,
                                     copier::threadsFor(threads));
}

bool anyMovedSince(const std::vector<std::string>& names, const std::string& folder,
                   const timespec& since, unsigned threads) {
  return copier::ChangeSearch::finds(copier::ChangeSearch::Which::Folders, names,
                                     copier::withoutSlashes(folder), since,
                                     copier::threadsFor(threads));
}

ForeignChanges changedSince(const std::vector<std::string>& names, const std::string& folder,
                            const std::string& copy, const timespec& since, unsigned threads) {
  EarlierCopy other;
  other.folder = copier::withoutSlashes(copy);
  const std::optional<EarlierCopy> side(std::move(other));
  copier::ForeignChangeSearch search(*platform::services().fileCopying, side, since);
  search.run(names, copier::withoutSlashes(folder), copier::threadsFor(threads));
  return search.found();
}
