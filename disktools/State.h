#pragma once
// What the program remembers of its devices from one run to the next, and the lock under which it
// acts.
//
//   /run/tarnvale            root's, 0700: nobody else passes through
//     lock                   held from a verb's first look to its last change
//     disk4                  the device's private mount
//     disk4.info             its record, "key=value" lines
//     disk4.new              a record being written, renamed over the former one when it is whole
//
// There is no daemon. A memory file system lives as long as it is mounted somewhere, so the private
// mount is what keeps a device, and its contents, while it is not mounted for its user: it is the
// device. The record only says what the kernel does not: whose it is and how it was asked for. In
// its folder nobody meets the private mount; what users see are copies of it, which come and go.
//
// The folder is one, and mount tables are many: a container, a unit with a table of its own and a
// shell below `unshare -m` read the same records and do not see the mounts. Removing a folder takes
// away what is mounted over it in every other namespace, with all it holds. So the record says in
// which namespace the device was attached; only there it is acted on, and only there, or where all
// the machine's processes can be asked, is it cleared away (`liveDevices`).
//
// Every verb opens the state, which waits for the lock, and looks at records and mount table anew.
// The lock is the kernel's, on an open file: it ends with the program, however that ends. What a
// killed program leaves is therefore one of these, and each needs no repair but the first look of
// the next verb (`liveDevices`):
//
//   a record, and maybe a folder, without a mount   attach, detach or newfs_hfs was cut off:
//   cleared
//                                                   away. The record is written before the mount is
//                                                   attached, and goes after its folder: a mount or
//                                                   a folder without one would be nobody's
//   a .new                                          goes when its device does, or is written over
//   a volume under the record of the former one     newfs_hfs was cut off: an old label
//   some of a device's mounts are gone              detach was cut off: it is said again
//   a damaged record beside a private mount         not by this program: root may detach it

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "disktools/Result.h"
#include "leaf/Descriptor.h"

namespace disktools {

enum class Backing {
  Memory,  // tmpfs
  Block,   // ext4 on a loop device over a memory file
};

std::optional<Backing> backingFromName(std::string_view name);

struct Record {
  unsigned number = 0;  // N of /dev/diskN
  uid_t uid = 0;        // who attached it; only this user and root may act on it
  gid_t gid = 0;
  std::uint64_t sectors = 0;  // of 512 bytes; 0 where the record file was damaged
  Backing backing = Backing::Memory;
  bool wired = false;  // keep it out of the swap
  bool caseSensitive = false;
  std::string label;
  std::string mediaDirectory;  // made for its mount and removed after it; empty for none
  std::string mountNamespace;  // where it was attached, as the kernel names it; empty: unknown

  std::string name() const { return "disk" + std::to_string(number); }
  std::string node() const { return "/dev/" + name(); }
  std::uint64_t bytes() const { return sectors * 512; }
  bool damaged() const { return sectors == 0; }
};

// The number in "/dev/diskN" or "/dev/rdiskN". Nothing for any other text.
std::optional<unsigned> deviceNumber(std::string_view node);

// A whole decimal number without sign or leading zeros.
std::optional<std::uint64_t> decimal(std::string_view text);

// The record file's lines. Parsing gives nothing unless every needed key is there with a value that
// can be true; unknown keys are skipped. The number is not part of the text.
std::string recordText(const Record& record);
std::optional<Record> parseRecord(std::string_view text);

// Open, it holds the lock. The directory belongs to root and nobody else may write there, so its
// contents can be believed.
class State {
 public:
  // Makes the directory when it is not there and waits for the lock.
  static Result<State> open();

  // Where the device's private mount lies.
  static std::string home(const Record& record);

  // The numbers of everything kept here, of devices and of what is left of them, ascending.
  std::vector<unsigned> numbers() const;

  // A missing or damaged file gives a record of root's with 0 sectors.
  Record read(unsigned number) const;
  Outcome write(const Record& record) const;  // whole or not at all

  // Makes the directory for the private mount and opens it by path only.
  Result<Descriptor> makeHome(const Record& record) const;

  // Whether there is a directory for a private mount, here or in another namespace.
  bool hasHome(const Record& record) const;

  // Removes mount directory and record; what is not there is no failure.
  void forget(const Record& record) const;

 private:
  State(Descriptor directory, Descriptor lock)
      : directory_(std::move(directory)), lock_(std::move(lock)) {}

  Descriptor directory_;
  Descriptor lock_;
};

}  // namespace disktools
