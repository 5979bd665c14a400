#pragma once
// The XML form of property lists, by way of libplist.

#include <string>
#include <string_view>

#include "extensions/PropertyList.h"

namespace extensions {

platform::Result<PropertyList> readXmlPropertyList(std::string_view bytes);
std::string writeXmlPropertyList(const PropertyList& list);

}  // namespace extensions
