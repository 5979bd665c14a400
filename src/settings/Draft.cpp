#include "settings/Draft.h"

namespace settings {

void Draft::rebase(const QVRamDisk& saved) {
  if (changeBetween(*saved_, saved).isEmpty()) return;
  const auto before = edited_;
  const Change edits = change();
  saved_ = copyOf(saved);
  edited_ = copyOf(saved);
  assign(*edited_, edits);
  if (!edits.postCommand) return;
  edited_->setPostCmd(before->postCmd());  // as it was typed, not as it will be saved
  edited_->setPostCmdArgs(before->postCmdArgs());
}

}  // namespace settings
