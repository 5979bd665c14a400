#pragma once

#include "settings/Change.h"

namespace settings {

// What turns the settings of one record into those of the other. Another kind brings its own size
// and backup along, so that these then are always told.
Change changeBetween(const QVRamDisk& before, const QVRamDisk& after);

// A record of its own with the same identity, settings and last known state. Null only for want of
// memory.
QVRamDiskPtr copyOf(const QVRamDisk& disk);

// A disk whose settings are being edited, beside how it is saved.
class Draft {
 public:
  explicit Draft(const QVRamDisk& saved) : saved_(copyOf(saved)), edited_(copyOf(saved)) {}

  const QVRamDisk& saved() const { return *saved_; }
  const QVRamDisk& edited() const { return *edited_; }
  QVRamDisk& edited() { return *edited_; }

  Change change() const { return changeBetween(*saved_, *edited_); }
  bool isChanged() const { return !change().isEmpty(); }

  // Takes on what was saved meanwhile, by whomever; what is being edited stays so.
  void rebase(const QVRamDisk& saved);
  void revert() { edited_ = copyOf(*saved_); }

 private:
  QVRamDiskPtr saved_;
  QVRamDiskPtr edited_;
};

}  // namespace settings
