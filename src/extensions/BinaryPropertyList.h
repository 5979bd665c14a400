#pragma once
// The binary form of property lists: "bplist00", the objects, a table of their offsets, and a
// trailer of 32 bytes. All numbers are big-endian.
//
// It is read and written here, not by libplist: that reads an object again for each reference to
// it, so that a file of a few hundred bytes unfolds without bound, and has no way to tell -1 from
// 2^64-1 nor to give a date after 2069.

#include <string>
#include <string_view>

#include "extensions/PropertyList.h"

namespace extensions {

platform::Result<PropertyList> readBinaryPropertyList(std::string_view bytes);
std::string writeBinaryPropertyList(const PropertyList& list);

// Dates count from 2001-01-01 00:00:00 UTC, here in seconds since 1970.
inline constexpr double kReferenceDate = 978307200;

}  // namespace extensions
