#pragma once

#include <sys/stat.h>

#include <optional>

#include "platform/FileCopying.h"
#include "system/TreeCopier.h"

namespace copier {

enum class Unchanged { No, Perhaps, Yes };

// Tells from what the file system says of a file and of its earlier copy whether it changed since.
// Any thread.
class UnchangedRule {
 public:
  // `device` is the original's; it is by its clock that change times are told.
  UnchangedRule(const platform::FileCopying& system, const std::optional<EarlierCopy>& earlier,
                dev_t device);

  // Without this no file counts as unchanged.
  bool canTell() const { return earlier_ && earlier_->unchangedBefore; }

  // Perhaps: only the change time speaks against it, and contents and attributes are the proof.
  Unchanged judge(const struct stat& original, const struct stat& copy) const;

  // Whether file systems tell the same of them, but for the change time.
  bool looksSame(const struct stat& original, const struct stat& copy) const;

 private:
  const platform::FileCopying& system_;
  const EarlierCopy* earlier_;
  dev_t device_;
};

}  // namespace copier
