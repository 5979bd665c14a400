#pragma once
// The XML form of property lists, a small part of XML: a prolog, one "plist" around one value, a
// tag for each kind of value, and in texts entities and CDATA.
//
// It is read and written here, in one pass each, and not by a library. The one that distributions
// bring knows no bounds: what it does for each entity, and for texts that share a hash, grows with
// the square of their number, so that a file of a megabyte takes it minutes. And it writes a text
// that holds U+0000 cut off together with all that follows, which nobody reads again.
//
// The reader goes from tag to tag and never back. Values and nesting are counted against the bounds
// of PropertyList.h. It refuses what it does not know rather than pass over it: another tag, a
// declaration inside the document, something behind the end.

#include <string>
#include <string_view>

#include "extensions/PropertyList.h"

namespace extensions {

platform::Result<PropertyList> readXmlPropertyList(std::string_view bytes);
std::string writeXmlPropertyList(const PropertyList& list);

}  // namespace extensions
