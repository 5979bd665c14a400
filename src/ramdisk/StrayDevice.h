#pragma once
// The device that a creation attached and that nothing gave back, as the program was killed before
// its volume was mounted and labelled, or while the creation was undone. A note in a file names the
// device meanwhile. Nodes are given out again, so the note alone proves nothing: see
// StrayDevice::giveBack().

#include <optional>
#include <string>

#include "ramdisk/Recovery.h"

// Of one disk, whose ActionLock the caller holds. A note that cannot be written is done without.
void noteAttachedDevice(const std::optional<std::string>& identifier, const std::string& node);
void forgetAttachedDevice(const std::optional<std::string>& identifier);

class StrayDevice {
 public:
  explicit StrayDevice(const std::optional<std::string>& identifier);

  // Nothing when no device is noted, or it is gone or mounted somewhere. Changes nothing.
  std::optional<RecoveryFinding> find();

  // After find(), while the caller holds the disk's ActionLock. Detaches the device only if no
  // other action runs that could have attached it, and only if it can be mounted and holds nothing:
  // no file of a user's, and no label, as that of a disk that is unmounted with its contents. Else
  // it stays. Failures are logged; they stand in nobody's way.
  void giveBack();

 private:
  bool showVolume() const;
  bool holdsNothing() const;

  const std::optional<std::string> identifier_;
  std::optional<std::string> node_;
  std::string place_;  // where its volume is looked at
  bool isMounted_ = false;
};
