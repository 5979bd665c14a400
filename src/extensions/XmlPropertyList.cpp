#include "extensions/XmlPropertyList.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>
#include <locale>
#include <sstream>
#include <utility>

#include "extensions/Text.h"

namespace extensions {
namespace {

constexpr char kReferenceKey[] = "CF$UID";  // the form of a reference, for which XML has no tag
constexpr std::string_view kBlank = " \t\r\n";
constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string_view trimmed(std::string_view text) {
  const auto first = std::min(text.find_first_not_of(kBlank), text.size());
  text.remove_prefix(first);
  return text.substr(0, text.find_last_not_of(kBlank) + 1);
}

template <class Number>
std::optional<Number> wholeNumber(std::string_view text, int base = 10) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<PropertyList> integerOf(std::string_view text) {
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const auto size = isHexadecimal ? wholeNumber<std::uint64_t>(text.substr(2), 16)
                                  : wholeNumber<std::uint64_t>(text);
  constexpr std::uint64_t kMost = std::uint64_t{1} << 63U;
  if (!size || (isNegative && *size > kMost)) return std::nullopt;
  return isNegative ? PropertyList(static_cast<std::int64_t>(0 - *size)) : PropertyList(*size);
}

// Not by strtod, which goes by the language of the session.
std::optional<PropertyList> realOf(std::string_view text) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  if (text.starts_with('+')) text.remove_prefix(1);
  if (text == "nan") return PropertyList(std::nan(""));
  if (text == "inf" || text == "infinity") return PropertyList(kInfinite);
  if (text == "-inf" || text == "-infinity") return PropertyList(-kInfinite);
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  double number = 0;
  const bool isNumber = static_cast<bool>(stream >> number);
  if (!isNumber || stream.peek() != std::istringstream::traits_type::eof()) return std::nullopt;
  return PropertyList(number);
}

// "2001-12-31T23:59:59Z"
std::optional<PropertyList> dateOf(std::string_view text) {
  std::array<int, 6> parts{};
  constexpr std::string_view kEnds = "--T::Z";
  const bool isBeforeChrist = text.starts_with('-');
  if (isBeforeChrist) text.remove_prefix(1);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const auto end = text.find(kEnds[i]);
    const auto part = end == text.npos ? std::nullopt : wholeNumber<int>(text.substr(0, end));
    if (!part || *part < 0) return std::nullopt;
    parts[i] = *part;
    text.remove_prefix(end + 1);
  }
  if (!text.empty() || parts[0] > 32767 || parts[1] > 12 || parts[2] > 31) return std::nullopt;
  const auto day = std::chrono::year(isBeforeChrist ? -parts[0] : parts[0]) / parts[1] / parts[2];
  if (!day.ok()) return std::nullopt;
  const auto moment = std::chrono::sys_days(day) + std::chrono::hours(parts[3]) +
                      std::chrono::minutes(parts[4]) + std::chrono::seconds(parts[5]);
  return PropertyList(PropertyList::Date{static_cast<double>(moment.time_since_epoch().count())});
}

std::optional<PropertyList> dataOf(std::string_view text) {
  std::string bytes;
  unsigned bits = 0;
  unsigned count = 0;
  for (const char letter : text.substr(0, text.find('='))) {
    if (kBlank.find(letter) != kBlank.npos) continue;
    const auto digit = kDigits.find(letter);
    if (digit == kDigits.npos) return std::nullopt;
    bits = (bits << 6U | static_cast<unsigned>(digit)) & 0xFFFFU;
    if ((count += 6) < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFFU);
  }
  return PropertyList(PropertyList::Data{std::move(bytes)});
}

std::optional<std::string> characterOf(std::string_view entity) {
  constexpr std::array<std::pair<std::string_view, const char*>, 5> kNamed = {
      {{"lt", "<"}, {"gt", ">"}, {"amp", "&"}, {"quot", "\""}, {"apos", "'"}}};
  for (const auto& [name, character] : kNamed)
    if (entity == name) return character;
  if (!entity.starts_with('#')) return std::nullopt;
  const bool isHexadecimal = entity.starts_with("#x");
  const auto code =
      wholeNumber<std::uint32_t>(entity.substr(isHexadecimal ? 2 : 1), isHexadecimal ? 16 : 10);
  const bool isSurrogate = code && *code >= 0xD800 && *code <= 0xDFFF;
  if (!code || *code == 0 || *code > 0x10FFFF || isSurrogate) return std::nullopt;
  const auto character = static_cast<char32_t>(*code);
  return utf8FromCodePoints({&character, 1});
}

class XmlReader {
 public:
  explicit XmlReader(std::string_view xml) : rest_(xml) {}

  platform::Result<PropertyList> read() {
    auto list = document();
    if (list) return std::move(*list);
    return platform::SystemError{"PropertyList", 1, "XML property list: " + problem_};
  }

 private:
  using Value = std::optional<PropertyList>;
  struct Tag {
    std::string_view name;
    bool closes = false;
    bool isEmpty = false;  // "<true/>"
  };

  std::nullopt_t fail(std::string_view problem = "not a property list") {
    if (problem_.empty()) problem_ = problem;
    return std::nullopt;
  }

  Value document() {
    if (!skipBetween()) return fail();
    if (rest_.starts_with("<!") && !skipBehind(">")) return fail();
    auto outer = tag();
    if (!outer) return std::nullopt;
    const bool isWrapped = outer->name == "plist" && !outer->closes && !outer->isEmpty;
    const auto first = isWrapped ? tag() : outer;
    auto list = first ? value(*first, 1) : std::nullopt;
    if (!list || (isWrapped && !closing("plist"))) return fail();
    if (!skipBetween() || !rest_.empty()) return fail();
    return list;
  }

  bool skipBehind(std::string_view mark) {
    const auto found = rest_.find(mark);
    if (found == rest_.npos) return false;
    const auto skipped = rest_.substr(0, found);
    rest_.remove_prefix(found + mark.size());
    if (mark == ">" && skipped.find('[') != skipped.npos) fail("declarations inside the document");
    return problem_.empty();
  }

  // Comments and instructions, which may stand anywhere. NO for one without an end.
  bool skipRemarks(bool& any) {
    const bool isInstruction = rest_.starts_with("<?");
    any = isInstruction || rest_.starts_with("<!--");
    if (!any) return true;
    rest_.remove_prefix(isInstruction ? 2 : 4);
    return skipBehind(isInstruction ? "?>" : "-->");
  }

  // What stands between two tags without being a value.
  bool skipBetween() {
    for (bool any = true; any;) {
      rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlank), rest_.size()));
      if (!skipRemarks(any)) return false;
    }
    return true;
  }

  std::optional<Tag> tag() {
    if (!skipBetween() || !rest_.starts_with('<')) return fail();
    if (rest_.starts_with("<!")) return fail("declarations inside the document");
    char quote = 0;
    std::size_t end = 1;
    for (; end < rest_.size() && (quote != 0 || rest_[end] != '>'); ++end) {
      const char letter = rest_[end];
      if (quote == 0 && letter == '<') return fail();
      if (letter == '"' || letter == '\'')
        quote = quote == 0 ? letter : (quote == letter ? '\0' : quote);
    }
    if (end == rest_.size()) return fail();
    std::string_view inside = rest_.substr(1, end - 1);
    rest_.remove_prefix(end + 1);
    Tag found{{}, inside.starts_with('/'), inside.ends_with('/')};
    if (found.closes) inside.remove_prefix(1);
    if (found.isEmpty && !inside.empty()) inside.remove_suffix(1);
    found.name = inside.substr(0, inside.find_first_of(kBlank));
    return found;
  }

  bool closing(std::string_view name) {
    const auto found = tag();
    return found && found->closes && found->name == name;
  }

  Value value(const Tag& opened, std::size_t depth) {
    if (++values_ > kPropertyListMaximumValues) return fail("too many values");
    if (opened.closes) return fail();
    const bool isDictionary = opened.name == "dict";
    if (isDictionary || opened.name == "array") {
      if (depth > kPropertyListMaximumDepth) return fail("nested too deeply");
      return isDictionary ? dictionary(opened, depth) : array(opened, depth);
    }
    const auto written = opened.isEmpty ? std::optional<std::string>("") : text(opened.name);
    if (!written) return std::nullopt;
    auto read = leaf(opened.name, *written);
    if (!read) return fail(fmt::format("not a property list: <{}>", opened.name));
    return read;
  }

  static Value leaf(std::string_view name, const std::string& written) {
    if (name == "string") return PropertyList(written);
    const auto plain = trimmed(written);
    if (name == "true" || name == "false")
      return plain.empty() ? Value(PropertyList(name == "true")) : std::nullopt;
    if (name == "integer") return integerOf(plain);
    if (name == "real") return realOf(plain);
    if (name == "date") return dateOf(plain);
    return name == "data" ? dataOf(plain) : std::nullopt;
  }

  Value array(const Tag& opened, std::size_t depth) {
    PropertyList::Array elements;
    while (!opened.isEmpty) {
      const auto next = tag();
      if (!next) return std::nullopt;
      if (next->closes && next->name == opened.name) break;
      auto element = value(*next, depth + 1);
      if (!element) return std::nullopt;
      elements.push_back(std::move(*element));
    }
    return PropertyList(std::move(elements));
  }

  // Of equal keys the last counts.
  Value dictionary(const Tag& opened, std::size_t depth) {
    PropertyList::Dictionary entries;
    while (!opened.isEmpty) {
      const auto next = tag();
      if (!next) return std::nullopt;
      if (next->closes && next->name == opened.name) break;
      if (next->closes || next->name != "key") return fail();
      auto key = next->isEmpty ? std::optional<std::string>("") : text("key");
      const auto held = key ? tag() : std::nullopt;
      auto entry = held ? value(*held, depth + 1) : std::nullopt;
      if (!entry) return std::nullopt;
      entries.insert_or_assign(std::move(*key), std::move(*entry));
    }
    return referenceOr(std::move(entries));
  }

  static PropertyList referenceOr(PropertyList::Dictionary entries) {
    const auto number = entries.size() == 1 && entries.begin()->first == kReferenceKey
                            ? entries.begin()->second.unsignedInteger()
                            : std::nullopt;
    if (number) return PropertyList::Uid{*number};
    return PropertyList(std::move(entries));
  }

  // Up to the closing tag, which it takes.
  std::optional<std::string> text(std::string_view name) {
    constexpr std::string_view kVerbatim = "<![CDATA[";
    std::string written;
    while (true) {
      const auto end = std::min(rest_.find_first_of("<&"), rest_.size());
      written.append(rest_.substr(0, end));
      rest_.remove_prefix(end);
      bool isRemark = false;
      if (!skipRemarks(isRemark)) return fail();
      if (isRemark) continue;
      if (rest_.starts_with('&')) {
        if (!entity(written)) return fail("an unknown entity");
      } else if (rest_.starts_with(kVerbatim)) {
        const auto close = rest_.find("]]>");
        if (close == rest_.npos) return fail();
        written.append(rest_.substr(kVerbatim.size(), close - kVerbatim.size()));
        rest_.remove_prefix(close + 3);
      } else {
        if (!closing(name)) return fail();
        return written;
      }
    }
  }

  bool entity(std::string& written) {
    constexpr std::size_t kLongest = 12;
    const auto end = rest_.substr(0, kLongest).find(';');
    const auto character = end == rest_.npos ? std::nullopt : characterOf(rest_.substr(1, end - 1));
    if (!character) return false;
    written += *character;
    rest_.remove_prefix(end + 1);
    return true;
  }

  std::string_view rest_;
  std::size_t values_ = 0;
  std::string problem_;
};

// --- Writing

constexpr char kHead[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
)";

class XmlWriter {
 public:
  std::string document(const PropertyList& list) {
    text_ = kHead;
    std::visit([this](const auto& value) { write(value); }, list.value());
    return std::move(text_) + "</plist>\n";
  }

 private:
  void line(std::string_view content) { text_.append(depth_, '\t').append(content).append("\n"); }
  void leaf(std::string_view tag, std::string_view content) {
    line(fmt::format("<{0}>{1}</{0}>", tag, content));
  }
  template <class Content>
  void list(std::string_view tag, bool isEmpty, Content content) {
    if (isEmpty) return line(fmt::format("<{}/>", tag));
    line(fmt::format("<{}>", tag));
    ++depth_;
    content();
    --depth_;
    line(fmt::format("</{}>", tag));
  }
  void any(const PropertyList& value) {
    std::visit([this](const auto& held) { write(held); }, value.value());
  }

  void write(bool value) { line(value ? "<true/>" : "<false/>"); }
  void write(std::int64_t value) { leaf("integer", std::to_string(value)); }
  void write(std::uint64_t value) { leaf("integer", std::to_string(value)); }
  void write(double value) { leaf("real", fmt::format("{}", value)); }
  void write(const std::string& value) { leaf("string", escaped(value)); }
  void write(const PropertyList::Data& data) { leaf("data", encoded(data.bytes)); }
  void write(const PropertyList::Date& date) { leaf("date", written(date)); }
  void write(const PropertyList::Uid& uid) {
    write(PropertyList::Dictionary{{kReferenceKey, uid.value}});
  }
  void write(const PropertyList::Array& array) {
    list("array", array.empty(), [&] {
      for (const auto& element : array) any(element);
    });
  }
  void write(const PropertyList::Dictionary& entries) {
    list("dict", entries.empty(), [&] {
      for (const auto& [key, value] : entries) {
        leaf("key", escaped(key));
        any(value);
      }
    });
  }

  static std::string escaped(const std::string& text);
  static std::string encoded(const std::string& bytes);
  static std::string written(const PropertyList::Date& date);

  std::string text_;
  std::size_t depth_ = 0;
};

std::string XmlWriter::escaped(const std::string& text) {
  const std::string valid = isValidUtf8(text) ? text : utf8FromUtf16(utf16FromUtf8(text));
  std::string out;
  out.reserve(valid.size());
  for (const char letter : valid) {
    if (letter == '&')
      out += "&amp;";
    else if (letter == '<')
      out += "&lt;";
    else if (letter == '>')
      out += "&gt;";
    else if (letter == '\0')
      out += "\uFFFD";
    else
      out += letter;
  }
  return out;
}

std::string XmlWriter::encoded(const std::string& bytes) {
  std::string out;
  out.reserve(bytes.size() / 3 * 4 + 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto at = [&](std::size_t place) {
      return place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0U;
    };
    const unsigned three = at(i) << 16U | at(i + 1) << 8U | at(i + 2);
    const std::size_t count = std::min<std::size_t>(bytes.size() - i, 3) + 1;
    for (std::size_t digit = 0; digit < 4; ++digit)
      out += digit < count ? kDigits[three >> (18 - 6 * digit) & 0x3FU] : '=';
  }
  return out;
}

// Of the years that four digits can tell.
std::string XmlWriter::written(const PropertyList::Date& date) {
  constexpr double kFirst = -62'135'596'800;  // of the year 1
  constexpr double kLast = 253'402'300'799;   // of the year 9999
  const double clamped = std::isnan(date.secondsSince1970)
                             ? 0
                             : std::clamp(std::floor(date.secondsSince1970), kFirst, kLast);
  const std::chrono::sys_seconds moment{std::chrono::seconds(static_cast<std::int64_t>(clamped))};
  const auto days = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day day(days);
  const std::chrono::hh_mm_ss time(moment - days);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(day.year()),
                     static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                     time.hours().count(), time.minutes().count(), time.seconds().count());
}

}  // namespace

platform::Result<PropertyList> readXmlPropertyList(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  if (!isValidUtf8(bytes) || bytes.find('\0') != std::string_view::npos)
    return platform::SystemError{"PropertyList", 1, "XML property list: not a text in UTF-8"};
  return XmlReader(bytes).read();
}

std::string writeXmlPropertyList(const PropertyList& list) { return XmlWriter().document(list); }

}  // namespace extensions
