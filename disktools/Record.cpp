#include "disktools/Record.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>
#include <map>

namespace disktools {

namespace {

using Fields = std::map<std::string, std::string, std::less<>>;

constexpr std::uint64_t kMostSectors =
    static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) / 512;

Fields fieldsOf(std::string_view text) {
  Fields fields;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    const std::size_t equals = line.find('=');
    if (equals != std::string_view::npos)
      fields.emplace(line.substr(0, equals), line.substr(equals + 1));
  }
  return fields;
}

std::string field(const Fields& fields, std::string_view key) {
  const auto found = fields.find(key);
  return found == fields.end() ? std::string() : found->second;
}

// −1 is no user and no group: the kernel takes it for "leave as it is".
std::optional<uid_t> identity(const Fields& fields, std::string_view key) {
  const auto value = decimal(field(fields, key));
  if (!value || *value >= std::numeric_limits<uid_t>::max()) return std::nullopt;
  return static_cast<uid_t>(*value);
}

}  // namespace

std::string_view backingName(Backing backing) {
  return backing == Backing::Memory ? "tmpfs" : "block";
}

std::optional<Backing> backingFromName(std::string_view name) {
  if (name == "tmpfs") return Backing::Memory;
  if (name == "block") return Backing::Block;
  return std::nullopt;
}

std::optional<std::uint64_t> decimal(std::string_view text) {
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  const bool whole = !text.empty() && stop == end && error == std::errc();
  if (!whole || (text[0] == '0' && text.size() > 1)) return std::nullopt;
  return value;
}

std::optional<unsigned> deviceNumber(std::string_view node) {
  for (const std::string_view prefix : {"/dev/disk", "/dev/rdisk"}) {
    if (!node.starts_with(prefix)) continue;
    const auto number = decimal(node.substr(prefix.size()));
    if (number && *number <= 99999) return static_cast<unsigned>(*number);
  }
  return std::nullopt;
}

std::string recordText(const Record& record) {
  return fmt::format(
      "uid={}\ngid={}\nsectors={}\nbacking={}\nwired={}\nformat={}\nlabel={}\nmedia={}\n",
      record.uid, record.gid, record.sectors, backingName(record.backing),
      record.wired ? "yes" : "no", record.caseSensitive ? "case-sensitive" : "plain", record.label,
      record.mediaDirectory);
}

std::optional<Record> parseRecord(std::string_view text) {
  const Fields fields = fieldsOf(text);
  const auto uid = identity(fields, "uid");
  const auto gid = identity(fields, "gid");
  const auto sectors = decimal(field(fields, "sectors"));
  const auto backing = backingFromName(field(fields, "backing"));
  if (!uid || !gid || !sectors || !backing) return std::nullopt;
  if (*sectors == 0 || *sectors > kMostSectors) return std::nullopt;
  Record record;
  record.uid = *uid;
  record.gid = *gid;
  record.sectors = *sectors;
  record.backing = *backing;
  record.wired = field(fields, "wired") == "yes";
  record.caseSensitive = field(fields, "format") == "case-sensitive";
  record.label = field(fields, "label");
  record.mediaDirectory = field(fields, "media");
  return record;
}

std::string sizeText(std::uint64_t bytes) {
  constexpr std::uint64_t megabyte = std::uint64_t{1} << 20U;
  return bytes >= megabyte ? fmt::format("{} MB", bytes / megabyte)
                           : fmt::format("{} KB", bytes / 1024);
}

}  // namespace disktools
