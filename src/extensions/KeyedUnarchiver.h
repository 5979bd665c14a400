#pragma once
// Reads keyed archives, our own and those that the macOS frameworks write. The bytes are not
// trusted: whatever they hold, reading ends soon, in bounded memory, with a value or an error.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "extensions/PropertyList.h"
#include "platform/Result.h"

namespace extensions {

// The table of objects of one archive.
class ArchiveGraph;

// A view on one object of an archive; copies share the archive. One thread at a time.
//
// Keys that nobody asks for are skipped. A missing key, a null and a value of another type all read
// as 0, false or nothing; the last is also reported, once, as a problem. Mutable and immutable
// variants of texts, arrays and dictionaries are the same. Numbers and booleans are read inline or
// through a reference.
class KeyedUnarchiver {
 public:
  KeyedUnarchiver(std::shared_ptr<ArchiveGraph> graph, std::uint64_t object);

  bool contains(std::string_view key) const;
  std::int64_t decodeInteger(std::string_view key) const;
  bool decodeBool(std::string_view key) const;
  // An NSUUID reads as its uppercase text.
  std::optional<std::string> decodeString(std::string_view key) const;
  // A negative number gives its two's complement, as the frameworks' unsignedLongLongValue does:
  // older ones stored values beyond 2^63 in that way.
  std::optional<std::uint64_t> decodeUnsigned(std::string_view key) const;
  // Reals are truncated. Beyond the range of int64_t: a value of another type.
  std::optional<std::int64_t> decodeNumber(std::string_view key) const;
  // All or nothing: an array with any element that is no text is a value of another type.
  std::optional<std::vector<std::string>> decodeStrings(std::string_view key) const;
  // Any tree of plain objects: texts, numbers, dates, data, arrays, dictionaries with text keys.
  std::optional<PropertyList> decodeValue(std::string_view key) const;

 private:
  template <class Convert>
  auto decode(std::string_view key, std::string_view expected, Convert convert) const
      -> decltype(convert(PropertyList()));
  void reportOtherType(std::string_view key, std::string_view expected) const;

  std::shared_ptr<ArchiveGraph> graph_;
  std::uint64_t object_;
};

struct UnarchivedObject {
  // The nearest class of the object, itself or an ancestor, that the reader knows.
  std::string className;
  KeyedUnarchiver coder;
};

// An array in an archive may have this many elements, and what one archive gives out in all is
// bounded by the limits of a property list: objects shared by millions of references are no way
// around them.
inline constexpr std::size_t kArchiveMaximumElements = 100'000;

// The elements of the array at the archive's root, in order. One whose class is not known, nor any
// that it descends from, is left out and reported. Damage to the archive's frame is an error of the
// domain "Archive".
//
// `problems` takes texts for a log; it may be null and must outlive every coder given out. At most
// 100 are collected.
platform::Result<std::vector<UnarchivedObject>> unarchiveArray(
    std::string_view bytes, std::span<const std::string_view> knownClasses,
    std::vector<std::string>* problems);

}  // namespace extensions
