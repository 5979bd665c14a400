#include <algorithm>
#include <bit>
#include <unordered_map>

#include "extensions/BinaryPropertyList.h"
#include "extensions/Text.h"

namespace extensions {

namespace {

std::string bigEndian(std::uint64_t value, std::size_t size) {
  std::string bytes(size, '\0');
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte, value >>= 8U) {
    *byte = static_cast<char>(value & 0xFFU);
  }
  return bytes;
}

// 1, 2, 4 or 8 bytes.
std::size_t sizeHolding(std::uint64_t value) {
  const auto bytes = static_cast<std::size_t>((std::bit_width(value) + 7) / 8);
  return std::bit_ceil(std::max<std::size_t>(bytes, 1));
}

std::string marked(unsigned marker, const std::string& bytes) {
  return static_cast<char>(marker) + bytes;
}

std::string integer(std::uint64_t value) {
  const std::size_t size = sizeHolding(value);
  return marked(0x10U | static_cast<unsigned>(std::countr_zero(size)), bigEndian(value, size));
}

std::string counted(unsigned kind, std::size_t count) {
  if (count < 0xF) return marked(kind | static_cast<unsigned>(count), {});
  return marked(kind | 0xFU, integer(count));
}

std::string text(const std::string& utf8) {
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  if (std::ranges::all_of(utf8, isAscii)) return counted(0x50, utf8.size()) + utf8;
  const std::u16string units = utf16FromUtf8(utf8);
  std::string bytes = counted(0x60, units.size());
  for (const char16_t unit : units) bytes += bigEndian(unit, 2);
  return bytes;
}

// The bytes of a value that refers to no other; empty for a container.
struct EncodedLeaf {
  std::string operator()(bool value) const { return marked(value ? 0x09 : 0x08, {}); }
  std::string operator()(std::int64_t value) const {
    return integer(static_cast<std::uint64_t>(value));
  }
  std::string operator()(std::uint64_t value) const {
    return marked(0x14, bigEndian(0, 8) + bigEndian(value, 8));
  }
  std::string operator()(double value) const {
    return marked(0x23, bigEndian(std::bit_cast<std::uint64_t>(value), 8));
  }
  std::string operator()(const std::string& value) const { return text(value); }
  std::string operator()(const PropertyList::Data& data) const {
    return counted(0x40, data.bytes.size()) + data.bytes;
  }
  std::string operator()(PropertyList::Date date) const {
    const double seconds = date.secondsSince1970 - kReferenceDate;
    return marked(0x33, bigEndian(std::bit_cast<std::uint64_t>(seconds), 8));
  }
  std::string operator()(PropertyList::Uid uid) const {
    const std::size_t size = sizeHolding(uid.value);
    return marked(0x80U | static_cast<unsigned>(size - 1), bigEndian(uid.value, size));
  }
  std::string operator()(const PropertyList::Array&) const { return {}; }
  std::string operator()(const PropertyList::Dictionary&) const { return {}; }
};

class Writer {
 public:
  std::string write(const PropertyList& root) {
    add(root);  // as the first, number 0
    std::string file = "bplist00";
    std::vector<std::uint64_t> offsets;
    const std::size_t referenceSize = sizeHolding(objects_.size());
    for (const Object& object : objects_) {
      offsets.push_back(file.size());
      file += object.bytes;
      for (const std::uint64_t reference : object.references) {
        file += bigEndian(reference, referenceSize);
      }
    }
    appendTable(file, offsets, referenceSize);
    return file;
  }

 private:
  struct Object {
    std::string bytes;
    std::vector<std::uint64_t> references;
  };

  static void appendTable(std::string& file, const std::vector<std::uint64_t>& offsets,
                          std::size_t referenceSize) {
    const std::uint64_t table = file.size();
    const std::size_t offsetSize = sizeHolding(table);
    for (const std::uint64_t offset : offsets) file += bigEndian(offset, offsetSize);
    file += bigEndian(0, 6) + bigEndian(offsetSize, 1) + bigEndian(referenceSize, 1);
    file += bigEndian(offsets.size(), 8) + bigEndian(0, 8) + bigEndian(table, 8);
  }

  std::uint64_t add(const PropertyList& value) {
    if (value.array()) return addArray(*value.array());
    if (value.dictionary()) return addDictionary(*value.dictionary());
    return addLeaf(std::visit(EncodedLeaf(), value.value()));
  }

  // Equal ones are written once.
  std::uint64_t addLeaf(const std::string& bytes) {
    const auto [leaf, isNew] = leaves_.try_emplace(bytes, objects_.size());
    if (isNew) objects_.push_back({bytes, {}});
    return leaf->second;
  }

  std::uint64_t addContainer(std::string bytes) {
    objects_.push_back({std::move(bytes), {}});
    return objects_.size() - 1;
  }

  std::uint64_t addArray(const PropertyList::Array& array) {
    const std::uint64_t index = addContainer(counted(0xA0, array.size()));
    std::vector<std::uint64_t> references;
    for (const PropertyList& element : array) references.push_back(add(element));
    objects_[index].references = std::move(references);
    return index;
  }

  std::uint64_t addDictionary(const PropertyList::Dictionary& dictionary) {
    const std::uint64_t index = addContainer(counted(0xD0, dictionary.size()));
    std::vector<std::uint64_t> references;
    for (const auto& [key, value] : dictionary) references.push_back(addLeaf(text(key)));
    for (const auto& [key, value] : dictionary) references.push_back(add(value));
    objects_[index].references = std::move(references);
    return index;
  }

  std::vector<Object> objects_;
  std::unordered_map<std::string, std::uint64_t> leaves_;
};

}  // namespace

std::string writeBinaryPropertyList(const PropertyList& list) { return Writer().write(list); }

}  // namespace extensions
