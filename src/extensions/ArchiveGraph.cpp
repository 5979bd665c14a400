#include "extensions/ArchiveGraph.h"

#include <fmt/format.h>

#include <algorithm>

#include "extensions/BinaryPropertyList.h"
#include "extensions/Text.h"

namespace extensions {
namespace {

constexpr std::size_t kMaximumProblems = 100;
constexpr std::size_t kUuidSize = 16;
constexpr std::int64_t kVersion = 100000;

bool refersWithin(const PropertyList& value, std::size_t count) {
  if (value.uid()) return value.uid()->value < count;
  const auto elementRefersWithin = [&](const PropertyList& element) {
    return refersWithin(element, count);
  };
  if (value.array()) return std::ranges::all_of(*value.array(), elementRefersWithin);
  if (!value.dictionary()) return true;
  return std::ranges::all_of(*value.dictionary(),
                             [&](const auto& entry) { return refersWithin(entry.second, count); });
}

// Far more than any real class has. Each look at an object walks its classes.
constexpr std::size_t kMaximumAncestors = 64;
constexpr std::size_t kMaximumClassName = 256;

bool isClassName(const PropertyList& name) {
  return name.string() && name.string()->size() <= kMaximumClassName;
}

bool isClass(const PropertyList& object) {
  const PropertyList* name = object.find("$classname");
  const PropertyList* classes = object.find("$classes");
  if (!name || !isClassName(*name)) return false;
  if (!classes) return true;
  return classes->array() && classes->array()->size() <= kMaximumAncestors &&
         std::ranges::all_of(*classes->array(), isClassName);
}

platform::Outcome checkHeader(const PropertyList& archive) {
  const PropertyList* archiver = archive.find("$archiver");
  const PropertyList* version = archive.find("$version");
  if (!archiver || !version || !archive.find("$objects"))
    return archiveError("not a keyed archive");
  if (!archiver->string() || *archiver->string() != "NSKeyedArchiver") {
    return archiveError("an archive of another archiver");
  }
  if (version->integer() != kVersion) return archiveError("a keyed archive of another version");
  return {};
}

platform::Outcome checkObjects(const PropertyList::Array& objects) {
  for (std::size_t i = 0; i < objects.size(); ++i) {
    const PropertyList& object = objects[i];
    if (!refersWithin(object, objects.size())) {
      return archiveError(
          fmt::format("object {} refers to one beyond the {} that there are", i, objects.size()));
    }
    if (!object.dictionary()) continue;
    const PropertyList* reference = object.find("$class");
    const bool isWhole =
        reference ? reference->uid() && isClass(objects[reference->uid()->value]) : isClass(object);
    if (!isWhole) {
      return archiveError(fmt::format("object {} has no class", i));
    }
  }
  return {};
}

platform::Result<ArchiveGraph::Frame> frameOf(const PropertyList& archive) {
  if (const auto whole = checkHeader(archive); !whole) return whole.error();
  const auto* objects = archive.find("$objects")->array();
  if (!objects || objects->empty() || objects->front() != PropertyList("$null")) {
    return archiveError("the table of objects is damaged");
  }
  const PropertyList* top = archive.find("$top");
  const PropertyList* root = top ? top->find("root") : nullptr;
  if (!root || !root->uid() || root->uid()->value >= objects->size()) {
    return archiveError("the archive has no root object");
  }
  if (const auto whole = checkObjects(*objects); !whole) return whole.error();
  return ArchiveGraph::Frame{*objects, root->uid()->value};
}

std::size_t keptBytes(const PropertyList& leaf) {
  if (leaf.string()) return leaf.string()->size();
  return leaf.data() ? leaf.data()->bytes.size() : 0;
}

}  // namespace

platform::SystemError archiveError(std::string text) { return {"Archive", 1, std::move(text)}; }

platform::Result<std::shared_ptr<ArchiveGraph>> ArchiveGraph::open(
    std::string_view bytes, std::vector<std::string>* problems) {
  const auto archive = parsePropertyList(bytes);
  if (!archive) return archiveError("not a property list: " + archive.error().text);
  auto frame = frameOf(*archive);
  if (!frame) return frame.error();
  return std::make_shared<ArchiveGraph>(std::move(*frame), problems);
}

ArchiveGraph::ArchiveGraph(Frame frame, std::vector<std::string>* problems)
    : frame_(std::move(frame)), problems_(problems), open_(frame_.objects.size()) {}

std::vector<std::string_view> ArchiveGraph::classesOf(const PropertyList& object) const {
  const PropertyList* reference = object.find("$class");
  if (!reference || !reference->uid()) return {};
  const PropertyList& entry = frame_.objects[reference->uid()->value];
  std::vector<std::string_view> classes = {*entry.find("$classname")->string()};
  const PropertyList* ancestors = entry.find("$classes");
  if (!ancestors) return classes;
  for (const PropertyList& ancestor : *ancestors->array()) classes.push_back(*ancestor.string());
  return classes;
}

bool ArchiveGraph::isA(const PropertyList& object, std::string_view className) const {
  return std::ranges::count(classesOf(object), className) > 0;
}

bool ArchiveGraph::isNull(const PropertyList& stored) const {
  if (!stored.uid()) return false;
  return stored.uid()->value == 0 || isA(object(stored.uid()->value), "NSNull");
}

std::optional<PropertyList> ArchiveGraph::resolved(const PropertyList& stored) {
  why_.clear();
  return resolve(stored, 1);
}

void ArchiveGraph::report(std::string problem) {
  if (!problems_ || problems_->size() >= kMaximumProblems) return;
  if (std::ranges::count(*problems_, problem) == 0) problems_->push_back(std::move(problem));
}

std::nullopt_t ArchiveGraph::fail(std::string_view why) {
  if (why_.empty()) why_ = why;
  return std::nullopt;
}

ArchiveGraph::Value ArchiveGraph::resolve(const PropertyList& stored, std::size_t depth) {
  if (depth > kPropertyListMaximumDepth) return fail("nested too deeply");
  if (!stored.uid()) return leaf(stored);
  const std::uint64_t index = stored.uid()->value;
  if (index == 0) return fail("a null");
  if (!object(index).dictionary()) return leaf(object(index));
  if (open_[index]) return fail("an object contains itself");
  open_[index] = true;
  Value value = resolveObject(object(index), depth);
  open_[index] = false;
  return value;
}

ArchiveGraph::Value ArchiveGraph::leaf(const PropertyList& value) {
  if (value.array() || value.dictionary() || value.uid()) return fail("no object");
  bytes_ += keptBytes(value);
  if (bytes_ > kPropertyListMaximumBytes) return fail("the archive unfolds to too much");
  return value;
}

ArchiveGraph::Value ArchiveGraph::resolveObject(const PropertyList& object, std::size_t depth) {
  if (isA(object, "NSString")) return string(object);
  if (isA(object, "NSArray")) return array(object.find("NS.objects"), depth);
  if (isA(object, "NSDictionary")) return dictionary(object, depth);
  if (isA(object, "NSNumber")) return number(object);
  if (isA(object, "NSDate")) return date(object);
  if (isA(object, "NSData")) return data(object);
  if (isA(object, "NSUUID")) return uuid(object);
  const auto classes = classesOf(object);
  return fail(fmt::format("of the class {}", classes.empty() ? "?" : classes.front()));
}

ArchiveGraph::Value ArchiveGraph::string(const PropertyList& object) {
  const PropertyList* text = object.find("NS.string");
  if (text && text->string()) return leaf(*text);
  const PropertyList* bytes = object.find("NS.bytes");
  if (!bytes || !bytes->data() || !isValidUtf8(bytes->data()->bytes)) return fail("no text");
  return leaf(bytes->data()->bytes);
}

ArchiveGraph::Value ArchiveGraph::data(const PropertyList& object) {
  const PropertyList* bytes = object.find("NS.data");
  return bytes && bytes->data() ? leaf(*bytes) : fail("no data");
}

// Most archives hold a bare number instead.
ArchiveGraph::Value ArchiveGraph::number(const PropertyList& object) {
  for (const std::string_view key : {"NS.intval", "NS.dblval", "NS.boolval"}) {
    const PropertyList* value = object.find(key);
    if (value && value->real()) return leaf(*value);
    if (value && value->boolean()) return leaf(*value);
  }
  return fail("no number");
}

ArchiveGraph::Value ArchiveGraph::date(const PropertyList& object) {
  const PropertyList* time = object.find("NS.time");
  if (!time || !time->real()) return fail("no date");
  return leaf(PropertyList::Date{*time->real() + kReferenceDate});
}

ArchiveGraph::Value ArchiveGraph::uuid(const PropertyList& object) {
  const PropertyList* stored = object.find("NS.uuidbytes");
  const auto* data = stored ? stored->data() : nullptr;
  if (!data || data->bytes.size() != kUuidSize) return fail("no UUID");
  std::string text;
  for (std::size_t i = 0; i < kUuidSize; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += fmt::format("{:02X}", static_cast<unsigned char>(data->bytes[i]));
  }
  return leaf(text);
}

ArchiveGraph::Value ArchiveGraph::array(const PropertyList* references, std::size_t depth) {
  if (!references || !references->array()) return fail("no array");
  values_ += references->array()->size() + 1;
  if (values_ > kPropertyListMaximumValues) return fail("the archive unfolds to too much");
  PropertyList::Array elements;
  for (const PropertyList& reference : *references->array()) {
    auto element = resolve(reference, depth + 1);
    if (!element) return std::nullopt;
    elements.push_back(std::move(*element));
  }
  return elements;
}

ArchiveGraph::Value ArchiveGraph::dictionary(const PropertyList& object, std::size_t depth) {
  const auto keys = array(object.find("NS.keys"), depth);
  const auto values = array(object.find("NS.objects"), depth);
  if (!keys || !values || keys->array()->size() != values->array()->size()) {
    return fail("no dictionary");
  }
  PropertyList::Dictionary entries;
  for (std::size_t i = 0; i < keys->array()->size(); ++i) {
    const auto* key = (*keys->array())[i].string();
    if (!key) return fail("a key that is no text");
    entries.emplace(*key, (*values->array())[i]);
  }
  return entries;
}

}  // namespace extensions
