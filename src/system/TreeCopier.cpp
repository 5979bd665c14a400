#include "system/TreeCopier.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "platform/Services.h"
#include "system/FunctionLog.h"
#include "system/copier/ByteCount.h"
#include "system/copier/ChangeSearch.h"
#include "system/copier/CopyRun.h"
#include "system/copier/ItemAttributes.h"

namespace {

platform::Failure failure(const std::string& path) {
  const int code = errno;
  return platform::SystemError{"POSIX", code, path + ": " + errnoText(code)};
}

}  // namespace

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

platform::Result<timespec> changeTime(const std::string& path) {
  struct stat facts {};
  if (fstatat(AT_FDCWD, path.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) return *failure(path);
  return platform::services().fileCopying->changeTime(facts);
}

// Narrowed first, so that nobody looks in between the old rights and the new ones.
platform::Failure copyDirectoryAttributes(const std::string& from, const std::string& to,
                                          const std::string& leftOut) {
  const auto& system = *platform::services().fileCopying;
  const Descriptor source(system.openFolder(AT_FDCWD, copier::withoutSlashes(from).c_str()));
  struct stat facts {};
  if (!source || fstat(source.get(), &facts) != 0) return failure(from);
  const Descriptor destination(system.openFolder(AT_FDCWD, copier::withoutSlashes(to).c_str()));
  if (!destination || fchmod(destination.get(), facts.st_mode & S_IRWXU) != 0) return failure(to);
  system.dropAccessLists(destination.get());
  auto error =
      copier::ItemAttributes(system, facts, false).give(source.get(), destination.get(), leftOut);
  if (error) error->text = to + ": " + error->text;
  return error;
}
