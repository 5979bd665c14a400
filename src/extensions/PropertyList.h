#pragma once
// Property lists: the value trees in which the system keeps registries, preferences and the output
// of its tools, in the XML form and in the binary form ("bplist00").

#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/Result.h"

namespace extensions {

// One value and all below it. Texts are UTF-8.
class PropertyList {
 public:
  struct Data {
    std::string bytes;
    bool operator==(const Data&) const = default;
  };
  struct Date {
    double secondsSince1970 = 0;
    bool operator==(const Date&) const = default;
  };
  // A reference within a keyed archive: an index into its table of objects.
  struct Uid {
    std::uint64_t value = 0;
    bool operator==(const Uid&) const = default;
  };
  using Array = std::vector<PropertyList>;
  using Dictionary = std::map<std::string, PropertyList>;

  PropertyList() : value_(Dictionary{}) {}
  // Integers keep their value whatever their type.
  template <std::integral Number>
  PropertyList(Number number) : value_(holding(number)) {}
  PropertyList(double number) : value_(number) {}
  PropertyList(std::string text) : value_(std::move(text)) {}
  PropertyList(std::string_view text) : value_(std::string(text)) {}
  PropertyList(const char* text) : value_(std::string(text)) {}
  PropertyList(Data data) : value_(std::move(data)) {}
  PropertyList(Date date) : value_(date) {}
  PropertyList(Uid uid) : value_(uid) {}
  PropertyList(Array array) : value_(std::move(array)) {}
  PropertyList(Dictionary dictionary) : value_(std::move(dictionary)) {}

  // nullptr for a value of another kind.
  const std::string* string() const { return std::get_if<std::string>(&value_); }
  const Array* array() const { return std::get_if<Array>(&value_); }
  const Dictionary* dictionary() const { return std::get_if<Dictionary>(&value_); }
  const Data* data() const { return std::get_if<Data>(&value_); }
  const Date* date() const { return std::get_if<Date>(&value_); }
  const Uid* uid() const { return std::get_if<Uid>(&value_); }

  std::optional<bool> boolean() const;                   // of a boolean; of an integer: not zero
  std::optional<std::int64_t> integer() const;           // of an integer within its range
  std::optional<std::uint64_t> unsignedInteger() const;  // of an integer within its range
  std::optional<double> real() const;                    // of a real or an integer

  // The value of a dictionary's key; nullptr without that key, and for what is no dictionary.
  const PropertyList* find(std::string_view key) const;

  bool operator==(const PropertyList& other) const;

  // For those who treat every kind. uint64_t only holds what is beyond int64_t.
  using Value = std::variant<bool, std::int64_t, std::uint64_t, double, std::string, Data, Date,
                             Uid, Array, Dictionary>;
  const Value& value() const { return value_; }

 private:
  template <std::integral Number>
  static Value holding(Number number) {
    if constexpr (std::same_as<Number, bool>) {
      return number;
    } else {
      if (std::in_range<std::int64_t>(number)) return static_cast<std::int64_t>(number);
      return static_cast<std::uint64_t>(number);
    }
  }

  Value value_;
};

// Bounds on untrusted input: its own size, and the values, the bytes of texts and data and the
// nesting that it unfolds to. A part that is shared counts as often as it is referred to.
inline constexpr std::size_t kPropertyListMaximumInput = 32U << 20U;
inline constexpr std::size_t kPropertyListMaximumValues = 250'000;
inline constexpr std::size_t kPropertyListMaximumBytes = 64U << 20U;
inline constexpr std::size_t kPropertyListMaximumDepth = 256;

// Reads either form. Whatever the bytes hold costs bounded time and memory. Errors have the domain
// "PropertyList" and say what is wrong. Any thread.
platform::Result<PropertyList> parsePropertyList(std::string_view bytes);

// Neither fails. What is no valid UTF-8 in a text is written as U+FFFD; so is U+0000 in XML, which
// has no place for it, and dates of whole seconds.
std::string xmlPropertyList(const PropertyList& list);
std::string binaryPropertyList(const PropertyList& list);

}  // namespace extensions
