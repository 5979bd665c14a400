#pragma once
// The objects of one keyed archive, checked so that every reference leads somewhere.
//
// A keyed archive is a property list that holds a graph of objects as a table:
//
//   $archiver, $version   "NSKeyedArchiver", 100000
//   $top                  {root: reference}
//   $objects              "$null", then every object once: texts and numbers as they are, others
//                         as dictionaries of their values and a reference to their "$class"
//
// A class is an object as well, with its name and the names of those it descends from. Integers and
// booleans stand inline, everything else is a reference (PropertyList::Uid), an index into the
// table.
//
// The frame is checked as a whole when the archive is opened; it is an error or it holds. What
// single objects hold is checked when somebody asks, and a wrong value costs only itself. As
// references may form circles and may share, resolving a value notes the objects that it is in the
// midst of and counts all that the archive has given out so far.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "extensions/PropertyList.h"
#include "platform/Result.h"

namespace extensions {

// The error that an archive cannot be read.
platform::SystemError archiveError(std::string text);

// One thread at a time: resolving keeps accounts.
class ArchiveGraph {
 public:
  // What open() has checked: the root lies among the objects, as does whatever these refer to, and
  // each that is an object has a class.
  struct Frame {
    PropertyList::Array objects;
    std::uint64_t root = 0;
  };

  // `problems` may be null and must outlive the graph.
  static platform::Result<std::shared_ptr<ArchiveGraph>> open(std::string_view bytes,
                                                              std::vector<std::string>* problems);
  ArchiveGraph(Frame frame, std::vector<std::string>* problems);

  std::uint64_t root() const { return frame_.root; }
  const PropertyList& object(std::uint64_t index) const { return frame_.objects[index]; }

  // The class and those it descends from, its own first; none for what is no object.
  std::vector<std::string_view> classesOf(const PropertyList& object) const;
  bool isA(const PropertyList& object, std::string_view className) const;

  // A reference to nothing, or to an NSNull.
  bool isNull(const PropertyList& stored) const;

  // A stored value with its references followed. nullopt unless it consists of plain objects; why()
  // then tells the reason. All texts, data and arrays that one archive gives out count together
  // towards the limits of a property list.
  std::optional<PropertyList> resolved(const PropertyList& stored);
  const std::string& why() const { return why_; }

  // Each text once.
  void report(std::string problem);

 private:
  using Value = std::optional<PropertyList>;

  std::nullopt_t fail(std::string_view why);
  Value resolve(const PropertyList& stored, std::size_t depth);
  Value resolveObject(const PropertyList& object, std::size_t depth);
  Value leaf(const PropertyList& value);
  Value string(const PropertyList& object);
  Value number(const PropertyList& object);
  Value date(const PropertyList& object);
  Value uuid(const PropertyList& object);
  Value data(const PropertyList& object);
  Value array(const PropertyList* references, std::size_t depth);
  Value dictionary(const PropertyList& object, std::size_t depth);

  Frame frame_;
  std::vector<std::string>* problems_;
  std::vector<bool> open_;  // the objects that are being resolved
  std::size_t values_ = 0;  // in arrays
  std::size_t bytes_ = 0;   // of texts and data
  std::string why_;
};

}  // namespace extensions
