#pragma once
// The binary form of property lists. All numbers are big-endian:
//
//   "bplist00"   what it is, with its version
//   objects      each a byte of kind and size, then its contents; lists hold numbers of objects
//   offsets      where each object begins, in the order of their numbers
//   32 bytes     how long offsets and numbers are, how many objects, the top one's number, and
//                where the offsets begin
//
// A byte's upper half is the kind, its lower one a count, or 15 where the count follows as an
// integer. An object may be referred to from anywhere, any number of times, and so the form can say
// what unfolds to far more than it takes, or without end. The reader works from the top down and
// counts what it gives out against the bounds of PropertyList.h; an object that is being read
// already contains itself. Everything is looked at where it is used: that an extent lies among the
// objects, an offset in the file.
//
// It is read and written here, not by the library that distributions bring: that reads an object
// again for each reference to it, so that a file of a few hundred bytes unfolds without bound, and
// has no way to tell -1 from 2^64-1 nor to give a date after 2069.
//
// The writer gives each equal text, number or date one object and numbers objects in the order in
// which they are reached, so that equal lists become equal bytes.

#include <string>
#include <string_view>

#include "extensions/PropertyList.h"

namespace extensions {

platform::Result<PropertyList> readBinaryPropertyList(std::string_view bytes);
std::string writeBinaryPropertyList(const PropertyList& list);

// Dates count from 2001-01-01 00:00:00 UTC, here in seconds since 1970.
inline constexpr double kReferenceDate = 978307200;

}  // namespace extensions
