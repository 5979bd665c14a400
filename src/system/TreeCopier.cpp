#include "system/TreeCopier.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "platform/Services.h"
#include "system/FunctionLog.h"
#include "system/copier/ItemAttributes.h"
#include "system/copier/ItemCopier.h"

namespace {

using copier::CopyShared;
using copier::CopyTally;

constexpr unsigned kMostThreads = 8;  // more only wait for one another

// A slash at the end would have a link followed.
std::string withoutSlashes(const std::string& path) {
  const auto last = path.find_last_not_of('/');
  return path.substr(0, last == std::string::npos ? 1 : last + 1);
}

unsigned threadsFor(const CopyOptions& options) {
  if (options.threads != 0) return options.threads;
  return std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads);
}

void copyFolder(const std::string& from, const std::string& to, unsigned threads,
                CopyShared& shared) {
  copier::ItemCopier item(shared, threads);
  const auto root = std::make_shared<copier::Folder>(nullptr, from);
  if (auto sides = item.begin(root, to))
    copier::TreeWalk(item, shared.open, threads).run(root, *std::move(sides));
}

void copyItem(const std::string& from, const std::string& to, unsigned threads, CopyTally& tally) {
  struct stat facts {};
  if (fstatat(AT_FDCWD, from.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
    return tally.addFailure("lstat", from, errno);
  copier::OpenFolders open;
  CopyShared shared{*platform::services().fileCopying, open, tally, {}, geteuid(), getegid()};
  if (S_ISDIR(facts.st_mode)) return copyFolder(from, to, threads, shared);
  const auto kind = S_ISREG(facts.st_mode) ? copier::EntryKind::File : copier::EntryKind::Other;
  copier::EntryCopier(shared).copy({nullptr, AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str()}, kind);
}

platform::Failure failure(const std::string& path) {
  const int code = errno;
  return platform::SystemError{"POSIX", code, path + ": " + errnoText(code)};
}

}  // namespace

CopyOutcome copyItemAtPath(const std::string& from, const std::string& to,
                           const CopyOptions& options) {
  CopyTally tally(options.progress);
  copyItem(withoutSlashes(from), withoutSlashes(to), threadsFor(options), tally);
  return tally.finish();
}

// Narrowed first, so that nobody looks in between the old rights and the new ones.
platform::Failure copyDirectoryAttributes(const std::string& from, const std::string& to) {
  const auto& system = *platform::services().fileCopying;
  const Descriptor source(system.openFolder(AT_FDCWD, withoutSlashes(from).c_str()));
  struct stat facts {};
  if (!source || fstat(source.get(), &facts) != 0) return failure(from);
  const Descriptor destination(system.openFolder(AT_FDCWD, withoutSlashes(to).c_str()));
  if (!destination || fchmod(destination.get(), facts.st_mode & S_IRWXU) != 0) return failure(to);
  system.dropAccessLists(destination.get());
  auto error = copier::ItemAttributes(system, facts, false).give(source.get(), destination.get());
  if (error) error->text = to + ": " + error->text;
  return error;
}
