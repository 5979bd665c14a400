#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Result.h"

namespace platform {

struct Mount {
  std::string type;         // the file system's type as the mount table names it
  std::string mountedFrom;  // the device node for a volume of ours
  std::string mountedOn;
};

struct FileSystemAttributes {
  std::uint64_t size = 0;         // bytes
  std::uint64_t free = 0;         // bytes that the caller may still write
  bool readOnly = false;          // where it is mounted, nobody may write
  std::size_t longestName = 255;  // bytes
};

// A program that a volume is used by, or another volume that is mounted in it.
struct VolumeUser {
  std::int64_t processIdentifier = 0;  // 0 for a volume
  std::string name;                    // of a volume the path where it is mounted
  bool writing = false;                // has a file of it open for writing, or mapped so

  bool operator==(const VolumeUser&) const = default;
};

struct VolumeUse {
  std::vector<VolumeUser> users;            // by process number, each once, without this process
  std::vector<std::uint64_t> mappedInodes;  // of files that are mapped for writing, ascending
};

// Mounted volumes and what is kept on them. Any thread. The mount table and the attributes are
// read without waiting for a device that does not answer.
class Volumes {
 public:
  virtual ~Volumes() = default;

  virtual Result<std::size_t> mountCount() const = 0;

  // At most `most` mounts. Where several cover one another at a path, the visible one stands
  // first for that path.
  virtual Result<std::vector<Mount>> mounts(std::size_t most) const = 0;

  virtual Result<FileSystemAttributes> attributes(const std::string& path) const = 0;

  // Tells file systems apart: two paths on one volume give one number.
  virtual Result<std::uint64_t> fileSystemNumber(const std::string& path) const = 0;

  // The device number that stat() reports, as the 32-bit value kept in older records.
  virtual Result<std::int32_t> deviceNumber(const std::string& path) const = 0;

  // false for volumes that lie on another machine.
  virtual Result<bool> isLocal(const std::string& path) const = 0;

  // A lasting identifier of the volume as an upper-case UUID text, where it has one.
  virtual std::optional<std::string> volumeIdentifier(std::int32_t deviceNumber) const = 0;

  // How many files and folders a new RAM disk of this size can hold; nullopt without a limit.
  virtual std::optional<std::uint64_t> mostEntries(std::uint64_t bytes) const = 0;

  // Who has files of the volume open, mapped, or works in it, and what is mounted in it, as far as
  // the caller may see.
  virtual VolumeUse use(const std::string& mountPoint) const = 0;

  // Who has files of the directory, or of one below it, open or mapped for writing, or works in it:
  // what these write stays in that directory, wherever it is moved and whatever is mounted over its
  // path. Who only reads is not told.
  virtual VolumeUse useBelow(const std::string& directory) const = 0;

  // Extended attributes of the item itself: links are not followed. Names are given without the
  // prefix that a platform may ask for. An attribute whose size changed between asking and reading
  // is an error.
  virtual Outcome setAttribute(const std::string& path, const std::string& name,
                               const std::string& value) = 0;
  virtual Outcome removeAttribute(const std::string& path, const std::string& name) = 0;
  virtual Result<std::string> attribute(const std::string& path, const std::string& name) const = 0;

  // Every attribute's full name, in the order the file system keeps them.
  virtual Result<std::vector<std::string>> attributeNames(const std::string& path) const = 0;
};

}  // namespace platform
