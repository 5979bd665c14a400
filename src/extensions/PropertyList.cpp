#include "extensions/PropertyList.h"

#include <optional>

#include "extensions/BinaryPropertyList.h"
#include "extensions/XmlPropertyList.h"

namespace extensions {
namespace {

template <class Number>
std::optional<Number> held(const PropertyList::Value& value) {
  const auto* number = std::get_if<Number>(&value);
  return number ? std::optional(*number) : std::nullopt;
}

}  // namespace

std::optional<bool> PropertyList::boolean() const {
  if (const auto number = held<std::int64_t>(value_)) return *number != 0;
  if (held<std::uint64_t>(value_)) return true;
  return held<bool>(value_);
}

std::optional<std::int64_t> PropertyList::integer() const { return held<std::int64_t>(value_); }

std::optional<std::uint64_t> PropertyList::unsignedInteger() const {
  const auto number = held<std::int64_t>(value_);
  if (!number) return held<std::uint64_t>(value_);
  if (*number < 0) return std::nullopt;
  return static_cast<std::uint64_t>(*number);
}

std::optional<double> PropertyList::real() const {
  if (const auto number = held<std::int64_t>(value_)) return static_cast<double>(*number);
  if (const auto number = held<std::uint64_t>(value_)) return static_cast<double>(*number);
  return held<double>(value_);
}

const PropertyList* PropertyList::find(std::string_view key) const {
  const Dictionary* entries = dictionary();
  if (!entries) return nullptr;
  const auto entry = entries->find(std::string(key));
  return entry == entries->end() ? nullptr : &entry->second;
}

// Written out: clang 17 does not get through the defaulted one, which is recursive.
bool PropertyList::operator==(const PropertyList& other) const { return value_ == other.value_; }

platform::Result<PropertyList> parsePropertyList(std::string_view bytes) {
  if (bytes.size() > kPropertyListMaximumInput) {
    return platform::SystemError{"PropertyList", 1, "the property list is too large"};
  }
  return bytes.starts_with("bplist") ? readBinaryPropertyList(bytes) : readXmlPropertyList(bytes);
}

std::string xmlPropertyList(const PropertyList& list) { return writeXmlPropertyList(list); }

std::string binaryPropertyList(const PropertyList& list) { return writeBinaryPropertyList(list); }

}  // namespace extensions
