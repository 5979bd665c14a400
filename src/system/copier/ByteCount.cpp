#include "system/copier/ByteCount.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "platform/Services.h"
#include "system/FunctionLog.h"

namespace copier {
namespace {

constexpr std::uint64_t kBlock = 4096;     // what file systems hand out
constexpr std::uint64_t kCountedIn = 512;  // what st_blocks counts in, everywhere

std::uint64_t inBlocks(std::uint64_t bytes) { return (bytes + kBlock - 1) / kBlock * kBlock; }

// Without the holes. Small files may take no blocks where they lie, but elsewhere they do.
std::uint64_t bytesOf(const struct stat& facts) {
  if (facts.st_size == 0) return 0;
  const auto taken = inBlocks(static_cast<std::uint64_t>(facts.st_blocks) * kCountedIn);
  return std::min(inBlocks(static_cast<std::uint64_t>(facts.st_size)), std::max(taken, kBlock));
}

}  // namespace

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
  return platform::SystemError{"POSIX", error, folder + ": " + errnoText(error)};
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

}  // namespace copier
