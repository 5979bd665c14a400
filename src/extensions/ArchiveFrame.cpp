// What every keyed archive has, whatever its objects.

#include <fmt/format.h>

#include <algorithm>

#include "extensions/ArchiveGraph.h"

namespace extensions {

namespace {

constexpr std::int64_t kVersion = 100000;

using Problem = std::optional<std::string>;

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

Problem problemOfHeader(const PropertyList& archive) {
  const PropertyList* archiver = archive.find("$archiver");
  const PropertyList* version = archive.find("$version");
  if (!archiver || !version || !archive.find("$objects")) return "not a keyed archive";
  if (!archiver->string() || *archiver->string() != "NSKeyedArchiver") {
    return "an archive of another archiver";
  }
  if (version->integer() != kVersion) return "a keyed archive of another version";
  return std::nullopt;
}

Problem problemOfObjects(const PropertyList::Array& objects) {
  for (std::size_t i = 0; i < objects.size(); ++i) {
    const PropertyList& object = objects[i];
    if (!refersWithin(object, objects.size())) {
      return fmt::format("object {} refers to one beyond the {} that there are", i, objects.size());
    }
    if (!object.dictionary()) continue;
    const PropertyList* reference = object.find("$class");
    const bool isWhole =
        reference ? reference->uid() && isClass(objects[reference->uid()->value]) : isClass(object);
    if (!isWhole) {
      return fmt::format("object {} has no class", i);
    }
  }
  return std::nullopt;
}

platform::Result<ArchiveGraph::Frame> frameOf(const PropertyList& archive) {
  if (const auto problem = problemOfHeader(archive)) return archiveError(*problem);
  const auto* objects = archive.find("$objects")->array();
  if (!objects || objects->empty() || objects->front() != PropertyList("$null")) {
    return archiveError("the table of objects is damaged");
  }
  const PropertyList* top = archive.find("$top");
  const PropertyList* root = top ? top->find("root") : nullptr;
  if (!root || !root->uid() || root->uid()->value >= objects->size()) {
    return archiveError("the archive has no root object");
  }
  if (const auto problem = problemOfObjects(*objects)) return archiveError(*problem);
  return ArchiveGraph::Frame{*objects, root->uid()->value};
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

}  // namespace extensions
