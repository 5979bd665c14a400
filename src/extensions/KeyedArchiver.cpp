#include "extensions/KeyedArchiver.h"

#include <map>

namespace extensions {
namespace {

constexpr std::uint64_t kNull = 0;
constexpr std::int64_t kArchiveVersion = 100000;

}  // namespace

class ArchiveObjects {
 public:
  PropertyList::Uid add(PropertyList value) {
    objects_.push_back(std::move(value));
    return {objects_.size() - 1};
  }

  // Equal texts are one object.
  PropertyList::Uid addString(const std::string& text) {
    const auto [known, isNew] = strings_.try_emplace(text, objects_.size());
    if (isNew) add(text);
    return {known->second};
  }

  PropertyList::Uid addStrings(const std::vector<std::string>& texts) {
    return addArray({"NSArray", "NSObject"}, texts,
                    [&](const std::string& text) { return addString(text); });
  }

  PropertyList::Uid addRoot(std::vector<std::shared_ptr<const KeyedArchivable>> array) {
    std::erase(array, nullptr);
    return addArray({"NSMutableArray", "NSArray", "NSObject"}, array,
                    [&](const auto& object) { return addObject(*object); });
  }

  PropertyList::Array take() { return std::move(objects_); }

 private:
  // Takes its number before its elements take theirs, as in the frameworks' archives.
  template <class Elements, class AddElement>
  PropertyList::Uid addArray(const std::vector<std::string>& classes, const Elements& elements,
                             AddElement addElement) {
    const auto array = add({});
    PropertyList::Array references;
    for (const auto& element : elements) references.push_back(addElement(element));
    fill(array, {{"NS.objects", std::move(references)}}, classes);
    return array;
  }

  PropertyList::Uid addObject(const KeyedArchivable& object) {
    if (const auto known = archived_.find(&object); known != archived_.end()) {
      return {known->second};
    }
    const auto uid = add({});
    archived_.emplace(&object, uid.value);
    KeyedArchiver archiver(*this);
    object.encodeWithCoder(archiver);
    fill(uid, archiver.values(), object.archiveClasses());
    return uid;
  }

  void fill(PropertyList::Uid uid, PropertyList::Dictionary values,
            const std::vector<std::string>& classes) {
    values.insert_or_assign("$class", addClass(classes));
    objects_[uid.value] = std::move(values);
  }

  PropertyList::Uid addClass(const std::vector<std::string>& classes) {
    const auto [known, isNew] = classes_.try_emplace(classes, objects_.size());
    if (isNew) {
      const std::string name = classes.empty() ? std::string() : classes.front();
      add(PropertyList::Dictionary{
          {"$classname", name}, {"$classes", PropertyList::Array(classes.begin(), classes.end())}});
    }
    return {known->second};
  }

  PropertyList::Array objects_{PropertyList("$null")};
  std::map<std::string, std::uint64_t> strings_;
  std::map<std::vector<std::string>, std::uint64_t> classes_;
  std::map<const KeyedArchivable*, std::uint64_t> archived_;
};

void KeyedArchiver::encodeInteger(std::string_view key, std::int64_t value) {
  values_.insert_or_assign(std::string(key), value);
}

void KeyedArchiver::encodeBool(std::string_view key, bool value) {
  values_.insert_or_assign(std::string(key), value);
}

void KeyedArchiver::encodeString(std::string_view key, const std::optional<std::string>& value) {
  const auto uid = value ? objects_.addString(*value) : PropertyList::Uid{kNull};
  values_.insert_or_assign(std::string(key), uid);
}

void KeyedArchiver::encodeUnsigned(std::string_view key, std::uint64_t value) {
  values_.insert_or_assign(std::string(key), objects_.add(value));
}

void KeyedArchiver::encodeStrings(std::string_view key,
                                  const std::optional<std::vector<std::string>>& value) {
  const auto uid = value ? objects_.addStrings(*value) : PropertyList::Uid{kNull};
  values_.insert_or_assign(std::string(key), uid);
}

std::string archivedDataWithRootObject(
    const std::vector<std::shared_ptr<const KeyedArchivable>>& array) {
  ArchiveObjects objects;
  const auto root = objects.addRoot(array);
  return binaryPropertyList(PropertyList::Dictionary{
      {"$version", kArchiveVersion},
      {"$archiver", "NSKeyedArchiver"},
      {"$top", PropertyList::Dictionary{{"root", root}}},
      {"$objects", objects.take()},
  });
}

}  // namespace extensions
