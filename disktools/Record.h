#pragma once
// What is remembered of a device from one run of the program to the next.

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace disktools {

enum class Backing {
  Memory,  // tmpfs
  Block,   // ext4 on a loop device over a memory file
};

std::string_view backingName(Backing backing);
std::optional<Backing> backingFromName(std::string_view name);

struct Record {
  unsigned number = 0;  // N of /dev/diskN
  uid_t uid = 0;        // who attached it; only this user and root may act on it
  gid_t gid = 0;
  std::uint64_t sectors = 0;  // of 512 bytes; 0 where the record file was damaged
  Backing backing = Backing::Memory;
  bool wired = false;  // keep it out of the swap
  bool caseSensitive = false;
  std::string label;
  std::string mediaDirectory;  // made for its mount and removed after it; empty for none

  std::string name() const { return "disk" + std::to_string(number); }
  std::string node() const { return "/dev/" + name(); }
  std::uint64_t bytes() const { return sectors * 512; }
  bool damaged() const { return sectors == 0; }
};

// The number in "/dev/diskN" or "/dev/rdiskN". Nothing for any other text.
std::optional<unsigned> deviceNumber(std::string_view node);

// A whole decimal number without sign or leading zeros.
std::optional<std::uint64_t> decimal(std::string_view text);

// The record file's lines "key=value". Parsing gives nothing unless every needed key is there
// with a value that can be true; unknown keys are skipped. The number is not part of the text.
std::string recordText(const Record& record);
std::optional<Record> parseRecord(std::string_view text);

// Whole megabytes, kilobytes for less than one: "512 MB".
std::string sizeText(std::uint64_t bytes);

}  // namespace disktools
