#include "system/copier/EntryCopier.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include "core/QVLog.h"
#include "system/copier/ItemAttributes.h"

namespace copier {
namespace {

constexpr int kMakeFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;  // until it is complete
constexpr std::size_t kToSide = 1;

}  // namespace

EntryCopier::EntryCopier(CopyShared& shared)
    : shared_(shared), contents_(shared.system, shared.tally) {}

void EntryCopier::copy(const EntryPlace& place, EntryKind kind) {
  kind == EntryKind::File ? copyFile(place) : copyOther(place);
}

void EntryCopier::copyFile(const EntryPlace& place) {
  const Descriptor from(shared_.system.openFile(place.fromFolder, place.fromName));
  if (!from && (errno == ELOOP || errno == ENXIO)) return copyOther(place);
  struct stat facts {};
  if (!from || fstat(from.get(), &facts) != 0) return failOrGone(place, "openat");
  if (!S_ISREG(facts.st_mode)) return copyOther(place, facts);
  copyOnce(place, facts, [&] { return makeFile(place, from.get(), facts); });
}

void EntryCopier::copyOther(const EntryPlace& place) {
  struct stat facts {};
  if (fstatat(place.fromFolder, place.fromName, &facts, AT_SYMLINK_NOFOLLOW) == 0)
    copyOther(place, facts);
  else
    failOrGone(place, "fstatat");
}

void EntryCopier::copyOther(const EntryPlace& place, const struct stat& facts) {
  switch (facts.st_mode & S_IFMT) {
    case S_IFLNK:
      return copyOnce(place, facts, [&] { return makeLink(place, facts); });
    case S_IFIFO:
      return copyOnce(place, facts, [&] { return makePipe(place, facts); });
    case S_IFSOCK:
      return shared_.tally.addSkipped("socket", place.path());
    case S_IFCHR:
    case S_IFBLK:
      return shared_.tally.addSkipped("device", place.path());
    default:  // became a file or a folder after it was listed as something else
      return shared_.tally.addFailure("open", place.path(), ESTALE);
  }
}

// A file with several links is made once and linked to after that.
template <class Make>
void EntryCopier::copyOnce(const EntryPlace& place, const struct stat& facts, Make make) {
  if (facts.st_nlink < 2 || !place.folder) {
    make();
    return;
  }
  auto turn = shared_.links.turn(facts.st_dev, facts.st_ino);
  if (const auto made = turn.made(); made && linkTo(*made, place)) return;
  if (make()) turn.remember(place.folder, place.toName);
}

// false when it has to be made again: the file system counts no more links, or the folder was
// given the mode of one that may not be opened.
bool EntryCopier::linkTo(const LinkTable::Made& made, const EntryPlace& place) {
  const auto sides = shared_.open.acquire(made.folder);
  const bool linked = sides && linkat((*sides)[kToSide].get(), made.name.c_str(), place.toFolder,
                                      place.toName, 0) == 0;
  if (linked)
    shared_.tally.addEntry();
  else
    QVLogWarning("TreeCopier", "linkat==-1, copied anew, path:{} errno:{}", place.path(), errno);
  return linked;
}

bool EntryCopier::makeFile(const EntryPlace& place, int from, const struct stat& facts) {
  Descriptor to(openat(place.toFolder, place.toName, kMakeFile, kPrivate));
  if (!to) return fail(place, "open");
  if (fillFile(place, from, std::move(to), facts)) return true;
  shared_.tally.takeBackBytes(contents_.copiedBytes());
  unlinkat(place.toFolder, place.toName, 0);
  return false;
}

bool EntryCopier::fillFile(const EntryPlace& place, int from, Descriptor to,
                           const struct stat& facts) {
  if (!place.folder) shared_.system.dropAccessLists(to.get());
  if (!contents_.copy(from, to.get(), facts)) return fail(place, "write");
  const ItemAttributes attributes(shared_.system, facts, isOwned(place, facts));
  const auto failure = attributes.give(from, to.get());
  if (close(to.release()) != 0) return fail(place, "close");
  return complete(place, failure);
}

bool EntryCopier::makeLink(const EntryPlace& place, const struct stat& facts) {
  std::array<char, PATH_MAX + 1> target{};
  const ssize_t size =
      readlinkat(place.fromFolder, place.fromName, target.data(), target.size() - 1);
  if (size < 0) return fail(place, "readlinkat");
  if (symlinkat(target.data(), place.toFolder, place.toName) != 0) return fail(place, "symlinkat");
  return complete(place, ItemAttributes(shared_.system, facts, isOwned(place, facts))
                             .give(place.fromFolder, place.fromName, place.toFolder, place.toName));
}

bool EntryCopier::makePipe(const EntryPlace& place, const struct stat& facts) {
  if (!shared_.system.makePipe(place.toFolder, place.toName)) return fail(place, "mkfifo");
  return complete(place, ItemAttributes(shared_.system, facts, isOwned(place, facts))
                             .give(place.fromFolder, place.fromName, place.toFolder, place.toName));
}

// The copy stands; what it could not be given counts as the entry's failure.
bool EntryCopier::complete(const EntryPlace& place, const platform::Failure& failure) {
  shared_.tally.addEntry();
  if (failure) shared_.tally.addFailure(place.path(), *failure);
  return true;
}

bool EntryCopier::fail(const EntryPlace& place, const char* verb) {
  const int code = errno;
  shared_.tally.addFailure(verb, place.path(), code);
  return false;
}

// What went away after it was listed need not be copied. The item that was asked for must be there.
void EntryCopier::failOrGone(const EntryPlace& place, const char* verb) {
  if (errno == ENOENT && place.folder)
    QVLogInfo("TreeCopier", "gone meanwhile, path:{}", place.path());
  else
    fail(place, verb);
}

bool EntryCopier::isOwned(const EntryPlace& place, const struct stat& facts) const {
  return place.folder && place.folder->ownsWhatIsMade && shared_.makesOwnerOf(facts);
}

}  // namespace copier
