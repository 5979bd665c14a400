#pragma once
// Writes object graphs in the keyed-archive form of the macOS frameworks: a binary property list
// whose "$objects" hold every object once, referring to each other by index.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "extensions/PropertyList.h"

namespace extensions {

class KeyedArchiver;

class KeyedArchivable {
 public:
  virtual ~KeyedArchivable() = default;

  // The class and those it descends from, its own first: {"QVRamDisk", "NSObject"}.
  virtual std::vector<std::string> archiveClasses() const = 0;
  virtual void encodeWithCoder(KeyedArchiver& archiver) const = 0;
};

// The growing table of objects of one archive.
class ArchiveObjects;

// Takes the values of one object. Of a key encoded twice the last value counts. Lives only during
// encodeWithCoder.
class KeyedArchiver {
 public:
  explicit KeyedArchiver(ArchiveObjects& objects) : objects_(objects) {}

  void encodeInteger(std::string_view key, std::int64_t value);
  void encodeBool(std::string_view key, bool value);
  // The following are objects of their own and stored as references; absent, one to "$null".
  void encodeString(std::string_view key, const std::optional<std::string>& value);
  void encodeUnsigned(std::string_view key, std::uint64_t value);
  void encodeStrings(std::string_view key, const std::optional<std::vector<std::string>>& value);

  const PropertyList::Dictionary& values() const { return values_; }

 private:
  ArchiveObjects& objects_;
  PropertyList::Dictionary values_;
};

// The archive of a mutable array of these objects. An object that occurs twice is stored once;
// null pointers are left out.
std::string archivedDataWithRootObject(
    const std::vector<std::shared_ptr<const KeyedArchivable>>& array);

}  // namespace extensions
