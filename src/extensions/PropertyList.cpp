#include "extensions/PropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "extensions/BinaryPropertyList.h"
#include "extensions/Text.h"

namespace extensions {
namespace {

using Node = std::unique_ptr<void, decltype(&plist_free)>;
using Bytes = std::unique_ptr<char, decltype(&std::free)>;

// The library's binary form is what goes in and out: its accessors lose the sign of an integer and
// dates after 2069, that form keeps them.
std::string binaryFromXml(std::string_view xml) {
  plist_t parsed = nullptr;
  plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &parsed);
  const Node node(parsed, plist_free);
  if (!node) return {};
  char* written = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(node.get(), &written, &length);
  const Bytes bytes(written, std::free);
  return bytes ? std::string(bytes.get(), length) : std::string();
}

std::string xmlFromBinary(std::string_view binary) {
  plist_t parsed = nullptr;
  plist_from_bin(binary.data(), static_cast<std::uint32_t>(binary.size()), &parsed);
  const Node node(parsed, plist_free);
  char* written = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(node.get(), &written, &length);
  const Bytes bytes(written, std::free);
  return bytes ? std::string(bytes.get(), length) : std::string();
}

// Goes through the tags before libplist does: it frees its tree recursively and has no limits.
// Whatever could make it see other tags than this sees is refused, and opening tags count even in
// comments, so that it never finds deeper nesting than was counted here.
//
// It also moves the rest of a text for each entity in it, which takes minutes for a few megabytes
// of them: kMaximumMoves allows a tenth of a second.
constexpr std::uint64_t kMaximumMoves = 1'000'000'000;

class TagScan {
 public:
  explicit TagScan(std::string_view xml) : rest_(xml) {}

  // What is wrong; empty for nothing.
  std::string_view problem() {
    while (problem_.empty() && skipTo("<", false)) {
      if (!skip("!--", "-->") && !skip("![CDATA[", "]]>") && !skip("?", "?>")) tag();
    }
    return problem_;
  }

 private:
  bool skip(std::string_view opening, std::string_view end) {
    if (!rest_.starts_with(opening)) return false;
    rest_.remove_prefix(opening.size());
    require(skipTo(end, true));
    return true;
  }

  void require(bool holds) {
    if (!holds) problem_ = "a tag without an end";
  }

  // Moves behind the mark. `counting` the lists that seem to open before it.
  bool skipTo(std::string_view mark, bool counting) {
    const std::size_t found = rest_.find(mark);
    if (found == std::string_view::npos) return false;
    const std::string_view skipped = rest_.substr(0, found);
    rest_.remove_prefix(found + mark.size());
    moves_ += skipped.size() * static_cast<std::uint64_t>(std::ranges::count(skipped, '&'));
    if (moves_ > kMaximumMoves) problem_ = "too many entities";
    for (std::size_t at = 0; counting && at < skipped.size(); ++at) {
      if (skipped[at] == '<') opened(skipped.substr(at + 1));
    }
    return true;
  }

  void opened(std::string_view tag) {
    const bool nests = tag.starts_with("array") || tag.starts_with("dict");
    if (nests && ++depth_ > kPropertyListMaximumDepth) problem_ = "nested too deeply";
    // A dictionary has a tag for each key and one for each value.
    if (++tags_ > 2 * kPropertyListMaximumValues) problem_ = "too many values";
  }

  void tag() {
    const std::size_t end = rest_.find_first_of("<>");
    if (end == std::string_view::npos || rest_[end] == '<') return require(false);
    const std::string_view tag = rest_.substr(0, end);
    rest_.remove_prefix(end + 1);
    if (!quotesAreClear(tag)) {
      problem_ = "unclear quotes in a tag";
    } else if (tag.starts_with("!") && tag.find('[') != std::string_view::npos) {
      problem_ = "declarations inside the document";
    } else if (tag == "/array" || tag == "/dict") {
      if (depth_ > 0) --depth_;
    } else if (!tag.starts_with("/") && !tag.ends_with("/")) {
      opened(tag);
    } else {
      ++tags_;
    }
  }

  // Quotes of one kind, in pairs: no reader can take the angle bracket behind them for quoted.
  static bool quotesAreClear(std::string_view tag) {
    const auto single = std::ranges::count(tag, '\'');
    const auto twofold = std::ranges::count(tag, '"');
    return (single == 0 || twofold == 0) && (single + twofold) % 2 == 0;
  }

  std::string_view rest_;
  std::size_t depth_ = 0;
  std::size_t tags_ = 0;
  std::uint64_t moves_ = 0;
  std::string_view problem_;
};

platform::SystemError error(std::string_view text) {
  return {"PropertyList", 1, "XML property list: " + std::string(text)};
}

// XML has no references; the frameworks write one as {"CF$UID": number}.
PropertyList withReferences(const PropertyList& list) {
  if (const auto* array = list.array()) {
    PropertyList::Array elements;
    for (const PropertyList& element : *array) elements.push_back(withReferences(element));
    return elements;
  }
  if (!list.dictionary()) return list;
  const PropertyList* reference = list.find("CF$UID");
  if (reference && list.dictionary()->size() == 1 && reference->unsignedInteger()) {
    return PropertyList::Uid{*reference->unsignedInteger()};
  }
  PropertyList::Dictionary entries;
  for (const auto& [key, value] : *list.dictionary()) entries.emplace(key, withReferences(value));
  return entries;
}

platform::Result<PropertyList> readXmlPropertyList(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  if (!isValidUtf8(bytes) || bytes.find('\0') != std::string_view::npos) {
    return error("not a text in UTF-8");
  }
  if (const auto problem = TagScan(bytes).problem(); !problem.empty()) return error(problem);
  const std::string binary = binaryFromXml(bytes);
  if (binary.empty()) return error("not a property list");
  auto list = readBinaryPropertyList(binary);
  if (!list) return list;
  return withReferences(*list);
}

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

std::string xmlPropertyList(const PropertyList& list) {
  return xmlFromBinary(writeBinaryPropertyList(list));
}

std::string binaryPropertyList(const PropertyList& list) { return writeBinaryPropertyList(list); }

}  // namespace extensions
