#include "extensions/BinaryPropertyList.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <unordered_map>
#include <vector>

#include "extensions/Text.h"

namespace extensions {
namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) value = (value << 8U) | static_cast<unsigned char>(byte);
  return value;
}

// Where something lies in the file: `count` elements, the first at `start`.
struct Extent {
  std::size_t start = 0;
  std::size_t count = 0;
};

class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  platform::Result<PropertyList> read() {
    std::optional<PropertyList> root;
    if (readTrailer()) root = object(top_, 1);
    if (root) return std::move(*root);
    return platform::SystemError{"PropertyList", 1, "binary property list: " + error_};
  }

 private:
  using Value = std::optional<PropertyList>;

  std::nullopt_t fail(std::string text) {
    if (error_.empty()) error_ = std::move(text);
    return std::nullopt;
  }

  bool readTrailer() {
    if (!bytes_.starts_with("bplist0") || bytes_.size() < kHeaderSize + kTrailerSize + 2) {
      fail("too short, or of an unknown version");
      return false;
    }
    const auto trailer = bytes_.substr(bytes_.size() - kTrailerSize);
    offsetSize_ = bigEndian(trailer.substr(6, 1));
    referenceSize_ = bigEndian(trailer.substr(7, 1));
    const std::uint64_t count = bigEndian(trailer.substr(8, 8));
    top_ = bigEndian(trailer.substr(16, 8));
    const std::uint64_t table = bigEndian(trailer.substr(24, 8));
    const std::size_t tableEnd = bytes_.size() - kTrailerSize;
    if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8 ||
        table <= kHeaderSize || table >= tableEnd || count > (tableEnd - table) / offsetSize_) {
      fail("the trailer does not fit the file");
      return false;
    }
    table_ = table;
    open_.resize(count);
    return true;
  }

  Value object(std::uint64_t index, std::size_t depth) {
    if (index >= open_.size()) return fail("a reference out of range");
    if (open_[index]) return fail("an object contains itself");
    if (depth > kPropertyListMaximumDepth) return fail("nested too deeply");
    if (++values_ > kPropertyListMaximumValues) return fail("too many values");
    const std::uint64_t offset =
        bigEndian(bytes_.substr(table_ + index * offsetSize_, offsetSize_));
    if (offset < kHeaderSize || offset >= table_) return fail("an offset out of range");
    open_[index] = true;
    Value value = objectAt(offset, depth);
    open_[index] = false;
    return value;
  }

  Value objectAt(std::size_t offset, std::size_t depth) {
    const unsigned marker = static_cast<unsigned char>(bytes_[offset]);
    const unsigned low = marker & 0xFU;
    switch (marker >> 4U) {
      case 0x0:
        if (low == 8 || low == 9) return PropertyList(low == 9);
        break;
      case 0x1:
        return integer(offset + 1, low);
      case 0x2:
        if (low == 2 || low == 3) return real(offset + 1, std::size_t{1} << low);
        break;
      case 0x3:
        if (low == 3) return date(offset + 1);
        break;
      case 0x8:
        return uid(offset + 1, low + 1);
      default:
        return countedObject(marker >> 4U, offset, depth);
    }
    return fail(fmt::format("an object of the unknown kind {:#04x}", marker));
  }

  Value countedObject(unsigned kind, std::size_t offset, std::size_t depth) {
    const auto extent = countedExtent(offset);
    if (!extent) return std::nullopt;
    switch (kind) {
      case 0x4:
        return data(*extent);
      case 0x5:
      case 0x7:
        return text(*extent);
      case 0x6:
        return utf16Text(*extent);
      case 0xA:
      case 0xB:  // sets, which no property list needs told apart
      case 0xC:
        return array(*extent, depth);
      case 0xD:
        return dictionary(*extent, depth);
      default:
        return fail(fmt::format("an object of the unknown kind {:#x}", kind));
    }
  }

  // The number in the marker, or in the integer behind it when that says 15.
  std::optional<Extent> countedExtent(std::size_t offset) {
    const unsigned low = static_cast<unsigned char>(bytes_[offset]) & 0xFU;
    if (low != 0xF) return Extent{offset + 1, low};
    const auto marker = take({offset + 1, 1}, 1);
    if (!marker) return std::nullopt;
    const auto width = static_cast<unsigned char>(marker->front());
    if (width < 0x10 || width > 0x13) return fail("a length that is no integer");
    const auto number = take({offset + 2, std::size_t{1} << (width & 0xFU)}, 1);
    if (!number) return std::nullopt;
    return Extent{offset + 2 + number->size(), bigEndian(*number)};
  }

  // The bytes of the extent, which must lie among the objects.
  std::optional<std::string_view> take(Extent extent, std::size_t elementSize) {
    if (extent.start > table_ || extent.count > (table_ - extent.start) / elementSize) {
      return fail("an object reaches beyond the objects");
    }
    return bytes_.substr(extent.start, extent.count * elementSize);
  }

  // As take(), for what is kept.
  std::optional<std::string_view> takeBytes(Extent extent, std::size_t elementSize) {
    const auto bytes = take(extent, elementSize);
    if (!bytes) return std::nullopt;
    keptBytes_ += bytes->size();
    if (keptBytes_ > kPropertyListMaximumBytes) return fail("too many bytes of texts and data");
    return bytes;
  }

  // Only integers of 8 and 16 bytes are signed.
  Value integer(std::size_t offset, unsigned exponent) {
    if (exponent > 4) return fail("an integer of more than 16 bytes");
    auto bytes = take({offset, std::size_t{1} << exponent}, 1);
    if (!bytes) return std::nullopt;
    if (bytes->size() < 8) return PropertyList(bigEndian(*bytes));
    const std::uint64_t value = bigEndian(bytes->substr(bytes->size() - 8));
    if (bytes->size() == 8) return PropertyList(static_cast<std::int64_t>(value));
    const std::uint64_t upper = bigEndian(bytes->substr(0, 8));
    if (upper == 0) return PropertyList(value);
    if (upper != ~std::uint64_t{0} || static_cast<std::int64_t>(value) >= 0) {
      return fail("an integer of more than 64 bits");
    }
    return PropertyList(static_cast<std::int64_t>(value));
  }

  Value real(std::size_t offset, std::size_t size) {
    const auto bytes = take({offset, size}, 1);
    if (!bytes) return std::nullopt;
    if (size == 8) return PropertyList(std::bit_cast<double>(bigEndian(*bytes)));
    const auto narrow = static_cast<std::uint32_t>(bigEndian(*bytes));
    return PropertyList(static_cast<double>(std::bit_cast<float>(narrow)));
  }

  Value date(std::size_t offset) {
    const auto seconds = real(offset, 8);
    if (!seconds) return std::nullopt;
    return PropertyList(PropertyList::Date{*seconds->real() + kReferenceDate});
  }

  Value uid(std::size_t offset, std::size_t size) {
    if (size > 8) return fail("a reference of more than 8 bytes");
    const auto bytes = take({offset, size}, 1);
    if (!bytes) return std::nullopt;
    return PropertyList(PropertyList::Uid{bigEndian(*bytes)});
  }

  Value data(Extent extent) {
    const auto bytes = takeBytes(extent, 1);
    if (!bytes) return std::nullopt;
    return PropertyList(PropertyList::Data{std::string(*bytes)});
  }

  Value text(Extent extent) {
    const auto bytes = takeBytes(extent, 1);
    if (!bytes) return std::nullopt;
    if (!isValidUtf8(*bytes)) return fail("a text that is no text");
    return PropertyList(*bytes);
  }

  Value utf16Text(Extent extent) {
    const auto bytes = takeBytes(extent, 2);
    if (!bytes) return std::nullopt;
    std::u16string units;
    for (std::size_t i = 0; i < bytes->size(); i += 2) {
      units += static_cast<char16_t>(bigEndian(bytes->substr(i, 2)));
    }
    return PropertyList(utf8FromUtf16(units));
  }

  // The object that the reference at the front of `references` names; takes that away.
  Value next(std::string_view& references, std::size_t depth) {
    const auto index = bigEndian(references.substr(0, referenceSize_));
    references.remove_prefix(referenceSize_);
    return object(index, depth + 1);
  }

  Value array(Extent extent, std::size_t depth) {
    auto references = take(extent, referenceSize_);
    if (!references) return std::nullopt;
    PropertyList::Array array;
    while (!references->empty()) {
      auto element = next(*references, depth);
      if (!element) return std::nullopt;
      array.push_back(std::move(*element));
    }
    return PropertyList(std::move(array));
  }

  // All keys come first, then all values. Of a key given twice the first counts.
  Value dictionary(Extent extent, std::size_t depth) {
    auto keys = take(extent, referenceSize_);
    if (!keys) return std::nullopt;
    auto values = take({extent.start + keys->size(), extent.count}, referenceSize_);
    if (!values) return std::nullopt;
    PropertyList::Dictionary dictionary;
    while (!keys->empty()) {
      const auto key = next(*keys, depth);
      if (!key) return std::nullopt;
      if (!key->string()) return fail("a key that is no text");
      auto value = next(*values, depth);
      if (!value) return std::nullopt;
      dictionary.emplace(*key->string(), std::move(*value));
    }
    return PropertyList(std::move(dictionary));
  }

  std::string_view bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t table_ = 0;  // where the table of offsets starts and the objects end
  std::uint64_t top_ = 0;
  std::vector<bool> open_;  // the objects that the current one lies in
  std::size_t values_ = 0;
  std::size_t keptBytes_ = 0;
  std::string error_;
};

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

platform::Result<PropertyList> readBinaryPropertyList(std::string_view bytes) {
  return Reader(bytes).read();
}

std::string writeBinaryPropertyList(const PropertyList& list) { return Writer().write(list); }

}  // namespace extensions
