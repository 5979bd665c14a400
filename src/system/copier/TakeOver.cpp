#include "system/copier/TakeOver.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace copier {

UnchangedRule::UnchangedRule(const platform::FileCopying& system,
                             const std::optional<EarlierCopy>& earlier, dev_t device)
    : system_(system), earlier_(earlier ? &*earlier : nullptr), device_(device) {}

Unchanged UnchangedRule::judge(const struct stat& original, const struct stat& copy) const {
  if (!canTell() || !looksSame(original, copy)) return Unchanged::No;
  const auto& doubted = earlier_->doubted;
  const bool proof = original.st_dev == device_ &&
                     isBefore(system_.changeTime(original), *earlier_->unchangedBefore) &&
                     !std::binary_search(doubted.begin(), doubted.end(), original.st_ino);
  return proof ? Unchanged::Yes : Unchanged::Perhaps;
}

bool UnchangedRule::looksSame(const struct stat& original, const struct stat& copy) const {
  return original.st_size == copy.st_size && original.st_mode == copy.st_mode &&
         original.st_uid == copy.st_uid && original.st_gid == copy.st_gid &&
         isSame(system_.times(original)[1], system_.times(copy)[1]);
}

bool TakeOver::take(const EntryPlace& place) {
  const bool original = place.origin == Origin::Original;
  if (place.origin == Origin::Unread) return false;
  if (original && (place.earlier.folder < 0 || !shared_.rule.canTell())) return false;
  struct stat facts {};
  if (fstatat(place.from.folder, place.from.name, &facts, AT_SYMLINK_NOFOLLOW) != 0) return false;
  if (!S_ISREG(facts.st_mode) || facts.st_nlink != 1) return false;
  if (original) return takeUnchanged(place, facts);
  return shareBlocks(place, place.from, facts) || link(place, place.from, facts);
}

bool TakeOver::takeUnchanged(const EntryPlace& place, const struct stat& original) {
  struct stat copy {};
  return isUnchanged(place, original, copy) &&
         (shareBlocks(place, place.earlier, original) || link(place, place.earlier, copy));
}

bool TakeOver::share(const EntryPlace& place, const struct stat& original) {
  if (!shared_.sharesBlocks) return false;
  if (place.origin == Origin::Lacked) return shareBlocks(place, place.from, original);
  struct stat copy {};
  return place.origin == Origin::Original && place.earlier.folder >= 0 &&
         isUnchanged(place, original, copy) && shareBlocks(place, place.earlier, original);
}

bool TakeOver::isUnchanged(const EntryPlace& place, const struct stat& original,
                           struct stat& copy) {
  if (fstatat(place.earlier.folder, place.earlier.name, &copy, AT_SYMLINK_NOFOLLOW) != 0)
    return false;
  const Unchanged verdict = shared_.rule.judge(original, copy);
  return verdict == Unchanged::Yes || (verdict == Unchanged::Perhaps && isSame(place));
}

// Judged anew by the open files, as others may have taken their places.
bool TakeOver::isSame(const EntryPlace& place) {
  const Descriptor original(shared_.system.openFile(place.from.folder, place.from.name));
  const Descriptor copy(shared_.system.openFile(place.earlier.folder, place.earlier.name));
  struct stat facts[2] = {};
  return original && copy && fstat(original.get(), &facts[0]) == 0 &&
         fstat(copy.get(), &facts[1]) == 0 && shared_.rule.looksSame(facts[0], facts[1]) &&
         comparison_.same(original.get(), copy.get());
}

// What the original has besides contents the earlier copy has as well.
bool TakeOver::shareBlocks(const EntryPlace& place, const NamedEntry& from,
                           const struct stat& original) {
  if (!shared_.sharesBlocks) return false;
  const Descriptor earlier(shared_.system.openFile(from.folder, from.name));
  if (!earlier) return false;
  const Descriptor made(
      shared_.system.shareContents(earlier.get(), place.to.folder, place.to.name));
  if (!made && errno == ENOTSUP) shared_.sharesBlocks = false;
  if (!made) return false;
  if (place.getsListsFromAbove()) shared_.system.dropAccessLists(made.get());
  const ItemAttributes attributes(shared_.system, original, shared_.isOwned(place, original));
  const auto given = attributes.give(earlier.get(), made.get());
  shared_.tally.addEntry();
  shared_.tally.addTakenOver(false);
  if (!given) shared_.tally.addFailure(place.entry(), given.error());
  return true;
}

bool TakeOver::link(const EntryPlace& place, const NamedEntry& from, const struct stat& copy) {
  if (copy.st_nlink != 1 || !shared_.rule.canTell()) return false;
  if (linkat(from.folder, from.name, place.to.folder, place.to.name, 0) != 0) return false;
  shared_.tally.addEntry();
  shared_.tally.addTakenOver(true);
  return true;
}

}  // namespace copier
