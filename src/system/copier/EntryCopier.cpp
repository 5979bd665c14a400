#include "system/copier/EntryCopier.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include "core/QVLog.h"

namespace copier {
namespace {

constexpr int kMakeFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;  // until it is complete

}  // namespace

EntryCopier::EntryCopier(CopyShared& shared)
    : shared_(shared), contents_(shared.system, shared.tally), takeOver_(shared) {}

void EntryCopier::copy(const EntryPlace& place, EntryKind kind) {
  unread_ = false;
  kind == EntryKind::File ? copyFile(place) : copyOther(place);
  if (unread_ && place.earlier.folder >= 0) copyFromEarlier(place);
}

void EntryCopier::copyFromEarlier(const EntryPlace& place) {
  struct stat facts {};
  const auto& [folder, name] = place.earlier;
  if (fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW) != 0 || S_ISDIR(facts.st_mode)) return;
  copy({place.folder, Origin::Unread, place.earlier, place.to, {-1, nullptr}},
       S_ISREG(facts.st_mode) ? EntryKind::File : EntryKind::Other);
}

void EntryCopier::copyFile(const EntryPlace& place) {
  if (takeOver_.take(place)) return;
  const Descriptor from(shared_.system.openFile(place.from.folder, place.from.name));
  if (!from && (errno == ELOOP || errno == ENXIO)) return copyOther(place);
  struct stat facts {};
  if (!from || fstat(from.get(), &facts) != 0) {
    failToRead(place, "openat");
  } else if (!S_ISREG(facts.st_mode)) {
    copyOther(place, facts);
  } else {
    copyOnce(place, facts, [&] {
      return (facts.st_nlink > 1 && takeOver_.share(place, facts)) ||
             makeFile(place, from.get(), facts);
    });
  }
}

void EntryCopier::copyOther(const EntryPlace& place) {
  struct stat facts {};
  if (fstatat(place.from.folder, place.from.name, &facts, AT_SYMLINK_NOFOLLOW) == 0)
    copyOther(place, facts);
  else
    failToRead(place, "fstatat");
}

void EntryCopier::copyOther(const EntryPlace& place, const struct stat& facts) {
  switch (facts.st_mode & S_IFMT) {
    case S_IFLNK:
      return copyOnce(place, facts, [&] { return makeLink(place, facts); });
    case S_IFIFO:
      return copyOnce(place, facts, [&] { return makePipe(place, facts); });
    case S_IFSOCK:
      return shared_.tally.addSkipped("socket", place.entry());
    case S_IFCHR:
    case S_IFBLK:
      return shared_.tally.addSkipped("device", place.entry());
    default:  // became a file or a folder after it was listed as something else
      errno = ESTALE;
      failToRead(place, "open");
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
  if (const auto made = turn.made(); made && linkTo(*made, place, S_ISREG(facts.st_mode))) return;
  if (make()) turn.remember(place.folder, place.to.name);
}

// false when it has to be made again: the file system counts no more links, or the folder was
// given the mode of one that may not be opened.
bool EntryCopier::linkTo(const LinkTable::Made& made, const EntryPlace& place, bool isFile) {
  const auto sides = shared_.open.acquire(made.folder);
  const bool linked = sides && linkat((*sides)[kTo].get(), made.name.c_str(), place.to.folder,
                                      place.to.name, 0) == 0;
  if (!linked) {
    QVLogWarning("TreeCopier", "linkat==-1, copied anew, path:{} errno:{}",
                 shared_.tally.pathOf(place.entry()), errno);
    return false;
  }
  shared_.tally.addEntry();
  if (isFile && place.origin != Origin::Original) shared_.tally.addTakenOver(false);
  return true;
}

bool EntryCopier::makeFile(const EntryPlace& place, int from, const struct stat& facts) {
  Descriptor to(openat(place.to.folder, place.to.name, kMakeFile, kPrivate));
  if (!to) return fail(place, "open");
  if (fillFile(place, from, std::move(to), facts)) return true;
  shared_.tally.takeBackBytes(contents_.copiedBytes());
  unlinkat(place.to.folder, place.to.name, 0);
  return false;
}

bool EntryCopier::fillFile(const EntryPlace& place, int from, Descriptor to,
                           const struct stat& facts) {
  if (place.getsListsFromAbove()) shared_.system.dropAccessLists(to.get());
  if (!contents_.copy(from, to.get(), facts))
    return contents_.readFailed() ? failToRead(place, "read") : fail(place, "write");
  const ItemAttributes attributes(shared_.system, facts, shared_.isOwned(place, facts));
  const auto given = attributes.give(from, to.get());
  if (close(to.release()) != 0) return fail(place, "close");
  if (place.origin != Origin::Original) shared_.tally.addTakenOver(false);
  return complete(place, given);
}

bool EntryCopier::makeLink(const EntryPlace& place, const struct stat& facts) {
  std::array<char, PATH_MAX + 1> target{};
  const ssize_t size =
      readlinkat(place.from.folder, place.from.name, target.data(), target.size() - 1);
  if (size < 0) return failToRead(place, "readlinkat");
  if (symlinkat(target.data(), place.to.folder, place.to.name) != 0)
    return fail(place, "symlinkat");
  return complete(place,
                  ItemAttributes(shared_.system, facts, shared_.isOwned(place, facts))
                      .give(place.from.folder, place.from.name, place.to.folder, place.to.name));
}

bool EntryCopier::makePipe(const EntryPlace& place, const struct stat& facts) {
  if (!shared_.system.makePipe(place.to.folder, place.to.name)) return fail(place, "mkfifo");
  if (place.getsListsFromAbove()) {
    const Descriptor made(shared_.system.openFile(place.to.folder, place.to.name));
    if (made) shared_.system.dropAccessLists(made.get());
  }
  return complete(place,
                  ItemAttributes(shared_.system, facts, shared_.isOwned(place, facts))
                      .give(place.from.folder, place.from.name, place.to.folder, place.to.name));
}

// The copy stands; what it could not be given counts as the entry's failure.
bool EntryCopier::complete(const EntryPlace& place, const platform::Outcome& attributes) {
  shared_.tally.addEntry();
  if (!attributes) shared_.tally.addFailure(place.entry(), attributes.error());
  return true;
}

bool EntryCopier::fail(const EntryPlace& place, const char* verb) {
  const int code = errno;
  shared_.tally.addFailure(verb, place.entry(), code);
  return false;
}

// What went away after it was listed need not be copied. The item that was asked for must be there.
bool EntryCopier::failToRead(const EntryPlace& place, const char* verb) {
  if (errno == ENOENT && place.folder) {
    QVLogInfo("TreeCopier", "gone meanwhile, path:{}", shared_.tally.pathOf(place.entry()));
    return false;
  }
  unread_ = true;
  return fail(place, verb);
}

}  // namespace copier
