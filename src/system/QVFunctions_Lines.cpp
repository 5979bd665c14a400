#include "extensions/Text.h"
#include "platform/Services.h"
#include "system/QVFunctions.h"

namespace {

std::string fromLatin1(std::string_view bytes) {
  std::u32string text;
  text.reserve(bytes.size());
  for (const char byte : bytes) text += static_cast<unsigned char>(byte);
  return extensions::utf8FromCodePoints(text);
}

std::string fromUtf16(std::string_view bytes, bool bigEndian) {
  std::u16string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    text += static_cast<char16_t>(bigEndian ? first << 8U | second : second << 8U | first);
  }
  return extensions::utf8FromUtf16(text);
}

// A byte-order mark decides, then whether the bytes can be UTF-8; any bytes are Latin-1.
std::string decoded(std::string bytes) {
  const std::string_view view = bytes;
  if (view.starts_with("\xFE\xFF")) return fromUtf16(view.substr(2), true);
  if (view.starts_with("\xFF\xFE")) return fromUtf16(view.substr(2), false);
  if (!extensions::isValidUtf8(bytes)) return fromLatin1(bytes);
  if (view.starts_with("\xEF\xBB\xBF")) bytes.erase(0, 3);
  return bytes;
}

}  // namespace

std::optional<std::vector<std::string>> QVFunctions::linesFromString(
    const std::optional<std::string>& text, std::int64_t maxLines, std::uint64_t options) {
  if (!text) return std::nullopt;
  const bool trims = (options & kTrimAndDropEmpty) != 0;
  std::vector<std::string> lines;
  for (std::size_t position = 0; position < text->size();) {
    const auto range = extensions::paragraphAt(*text, position);
    position = range.end;
    std::string line = text->substr(range.start, range.contentsEnd - range.start);
    if (trims) line = extensions::trimmedWhitespaceAndNewlines(line);
    if (trims && line.empty()) continue;
    lines.push_back(std::move(line));
    if (maxLines > 0 && std::cmp_greater(lines.size(), maxLines)) break;
  }
  return lines;
}

std::optional<std::vector<std::string>> QVFunctions::linesFromString(
    const std::optional<std::string>& text) {
  return linesFromString(text, 0, 0);
}

std::optional<std::vector<std::string>> QVFunctions::linesFromFilePath(const std::string& path,
                                                                       platform::Failure* error) {
  auto contents = platform::services().files->contents(path);
  if (error) *error = contents ? platform::Failure() : platform::Failure(contents.error());
  if (!contents) return std::nullopt;
  return linesFromString(decoded(*std::move(contents)));
}

std::uint64_t QVFunctions::linesCountOfString(std::string_view text) {
  std::uint64_t count = 0;
  for (std::size_t position = 0; position < text.size(); ++count) {
    position = extensions::lineAt(text, position).end;
  }
  return count;
}
