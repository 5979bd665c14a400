// What a copy would have to write, and whether there is anything new: walks over the same folders
// as a copy, by the same rules, that only look.

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
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

// Looks for an entry whose inode changed at a given time or later, until it finds one.
class ChangeSearch : public MeasuringWalk {
 public:
  static bool finds(const std::vector<std::string>& names, const std::string& folder,
                    const timespec& since, unsigned threads);

  void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
             unsigned worker) override;

 private:
  ChangeSearch(const platform::FileCopying& system, const timespec& since, dev_t device)
      : MeasuringWalk(system, std::nullopt), system_(system), since_(since), device_(device) {}

  void entered(const Folder& folder, const Sides& sides) override;
  void notSeen() override { found_ = true; }
  bool isDone() const override { return found_; }
  void look(int folder, const char* name);
  bool isChanged(const struct stat& facts) const;

  const platform::FileCopying& system_;
  const timespec since_;
  const dev_t device_;  // by whose clock `since` is
  std::atomic<bool> found_{false};
};

bool ChangeSearch::finds(const std::vector<std::string>& names, const std::string& folder,
                         const timespec& since, unsigned threads) {
  struct stat facts {};
  if (fstatat(AT_FDCWD, folder.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) return true;
  ChangeSearch search(*platform::services().fileCopying, since, facts.st_dev);
  return search.run(names, folder, threads) != 0 || search.found_;
}

void ChangeSearch::visit(const FolderPtr& /*folder*/, const Sides& sides,
                         const NameList::Entry& entry, unsigned /*worker*/) {
  if (!found_) look(sides[kFrom].get(), entry.name);
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

}  // namespace
}  // namespace copier

platform::Result<std::uint64_t> bytesToCopy(const std::vector<std::string>& names,
                                            const std::string& fromFolder,
                                            const std::optional<EarlierCopy>& earlier,
                                            unsigned threads) {
  return copier::ByteCount::of(names, copier::withoutSlashes(fromFolder), earlier,
                               copier::threadsFor(threads));
}

bool anyChangedSince(const std::vector<std::string>& names, const std::string& folder,
                     const timespec& since, unsigned threads) {
  return copier::ChangeSearch::finds(names, copier::withoutSlashes(folder), since,
                                     copier::threadsFor(threads));
}
