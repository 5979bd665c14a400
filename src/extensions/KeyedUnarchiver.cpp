#include "extensions/KeyedUnarchiver.h"

#include <fmt/format.h>

#include <algorithm>

#include "extensions/ArchiveGraph.h"

namespace extensions {
namespace {

template <class Number>
std::optional<Number> truncated(double real) {
  // Of the powers of two only the limits themselves are exact in a double.
  constexpr double upper = sizeof(Number) * 8 == 64 && std::is_unsigned_v<Number> ? 0x1p64 : 0x1p63;
  const double lower = std::is_unsigned_v<Number> ? 0 : -0x1p63;
  if (!(real >= lower && real < upper)) return std::nullopt;
  return static_cast<Number>(real);
}

std::optional<std::int64_t> asSigned(const PropertyList& value) {
  if (value.integer()) return value.integer();
  if (value.unsignedInteger()) return std::nullopt;
  if (value.real()) return truncated<std::int64_t>(*value.real());
  return value.boolean();
}

std::optional<std::uint64_t> asUnsigned(const PropertyList& value) {
  if (value.unsignedInteger()) return value.unsignedInteger();
  if (const auto number = asSigned(value)) return static_cast<std::uint64_t>(*number);
  return value.real() ? truncated<std::uint64_t>(*value.real()) : std::nullopt;
}

std::optional<bool> asBool(const PropertyList& value) {
  if (value.boolean()) return value.boolean();
  return value.real() ? std::optional(*value.real() != 0) : std::nullopt;
}

std::optional<std::string> asString(const PropertyList& value) {
  return value.string() ? std::optional(*value.string()) : std::nullopt;
}

std::optional<std::vector<std::string>> asStrings(const PropertyList& value) {
  if (!value.array()) return std::nullopt;
  std::vector<std::string> texts;
  for (const PropertyList& element : *value.array()) {
    if (!element.string()) return std::nullopt;
    texts.push_back(*element.string());
  }
  return texts;
}

std::optional<PropertyList> asItself(const PropertyList& value) { return value; }

std::string nameOfClass(const std::vector<std::string_view>& classes) {
  return classes.empty() ? "(none)" : std::string(classes.front());
}

}  // namespace

KeyedUnarchiver::KeyedUnarchiver(std::shared_ptr<ArchiveGraph> graph, std::uint64_t object)
    : graph_(std::move(graph)), object_(object) {}

template <class Convert>
auto KeyedUnarchiver::decode(std::string_view key, std::string_view expected, Convert convert) const
    -> decltype(convert(PropertyList())) {
  const PropertyList* stored = graph_->object(object_).find(key);
  if (!stored || graph_->isNull(*stored)) return std::nullopt;
  const auto value = graph_->resolved(*stored);
  auto converted = value ? convert(*value) : std::nullopt;
  if (!converted) reportOtherType(key, expected);
  return converted;
}

void KeyedUnarchiver::reportOtherType(std::string_view key, std::string_view expected) const {
  const auto classes = graph_->classesOf(graph_->object(object_));
  const std::string why = graph_->why().empty() ? std::string() : " (" + graph_->why() + ")";
  graph_->report(fmt::format("\"{}\" of an object of the class {} is no {}{}", key,
                             nameOfClass(classes), expected, why));
}

bool KeyedUnarchiver::contains(std::string_view key) const {
  return graph_->object(object_).find(key) != nullptr;
}

std::int64_t KeyedUnarchiver::decodeInteger(std::string_view key) const {
  return decode(key, "integer", asSigned).value_or(0);
}

bool KeyedUnarchiver::decodeBool(std::string_view key) const {
  return decode(key, "boolean", asBool).value_or(false);
}

std::optional<std::string> KeyedUnarchiver::decodeString(std::string_view key) const {
  return decode(key, "text", asString);
}

std::optional<std::uint64_t> KeyedUnarchiver::decodeUnsigned(std::string_view key) const {
  return decode(key, "number", asUnsigned);
}

std::optional<std::int64_t> KeyedUnarchiver::decodeNumber(std::string_view key) const {
  return decode(key, "number", asSigned);
}

std::optional<std::vector<std::string>> KeyedUnarchiver::decodeStrings(std::string_view key) const {
  return decode(key, "array of texts", asStrings);
}

std::optional<PropertyList> KeyedUnarchiver::decodeValue(std::string_view key) const {
  return decode(key, "value", asItself);
}

namespace {

using Classes = std::span<const std::string_view>;

platform::Result<PropertyList::Array> rootElements(const ArchiveGraph& graph) {
  const PropertyList& root = graph.object(graph.root());
  if (!graph.isA(root, "NSArray")) return archiveError("the root object is no array");
  const PropertyList* elements = root.find("NS.objects");
  if (!elements || !elements->array()) return archiveError("the root array has no elements");
  if (elements->array()->size() > kArchiveMaximumElements) {
    return archiveError(
        fmt::format("the root array has more than {} elements", kArchiveMaximumElements));
  }
  for (const PropertyList& element : *elements->array()) {
    if (!element.uid()) return archiveError("an element of the root array is no reference");
    if (element.uid()->value == graph.root()) {
      return archiveError("the root array contains itself");
    }
  }
  return *elements->array();
}

std::optional<UnarchivedObject> known(const std::shared_ptr<ArchiveGraph>& graph,
                                      std::uint64_t index, Classes knownClasses) {
  const auto classes = graph->classesOf(graph->object(index));
  const auto found = std::ranges::find_first_of(classes, knownClasses);
  if (found != classes.end()) {
    return UnarchivedObject{std::string(*found), KeyedUnarchiver(graph, index)};
  }
  graph->report(fmt::format("an element of the class {} was left out", nameOfClass(classes)));
  return std::nullopt;
}

}  // namespace

platform::Result<std::vector<UnarchivedObject>> unarchiveArray(std::string_view bytes,
                                                               Classes knownClasses,
                                                               std::vector<std::string>* problems) {
  const auto graph = ArchiveGraph::open(bytes, problems);
  if (!graph) return graph.error();
  const auto elements = rootElements(**graph);
  if (!elements) return elements.error();
  std::vector<UnarchivedObject> objects;
  for (const PropertyList& element : *elements) {
    auto object = known(*graph, element.uid()->value, knownClasses);
    if (object) objects.push_back(std::move(*object));
  }
  return objects;
}

}  // namespace extensions
