#include "system/copier/UnchangedRule.h"

#include <algorithm>

#include "system/copier/Times.h"

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

}  // namespace copier
