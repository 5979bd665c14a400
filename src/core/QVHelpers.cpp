#include "core/QVHelpers.h"

#include <fmt/format.h>
#include <utf8proc.h>

#include <array>
#include <cmath>

namespace {

void store(const std::string& message, std::optional<std::string>* slot) {
  if (slot) *slot = message;
}

// -1 for a byte outside the alphabet.
int base64Value(unsigned char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  return c == '/' ? 63 : -1;
}

std::size_t paddingLength(const std::string& text) {
  if (text.ends_with("==")) return 2;
  return text.ends_with('=') ? 1 : 0;
}

std::optional<std::string> decodedBase64(const std::string& text) {
  if (text.empty() || text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = paddingLength(text);
  std::string bytes;
  unsigned accumulated = 0;
  for (std::size_t i = 0; i < text.size() - padding; ++i) {
    const int value = base64Value(static_cast<unsigned char>(text[i]));
    if (value < 0) return std::nullopt;
    accumulated = (accumulated << 6U) | static_cast<unsigned>(value);
    if (i % 4 != 0) bytes += static_cast<char>((accumulated >> (6 - 2 * (i % 4))) & 0xFFU);
  }
  return bytes;
}

bool isUtf8(const std::string& text) {
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  auto rest = static_cast<utf8proc_ssize_t>(text.size());
  while (rest > 0) {
    utf8proc_int32_t codepoint = 0;
    const auto used = utf8proc_iterate(bytes, rest, &codepoint);
    if (used <= 0) return false;
    bytes += used;
    rest -= used;
  }
  return true;
}

}  // namespace

bool QV_ReturnNoWithMessage(const std::string& message, std::optional<std::string>* slot) {
  store(message, slot);
  return false;
}

std::nullptr_t QV_ReturnNilWithMessage(const std::string& message,
                                       std::optional<std::string>* slot) {
  store(message, slot);
  return nullptr;
}

std::nullptr_t QV_ReturnNULLWithMessage(const std::string& message,
                                        std::optional<std::string>* slot) {
  return QV_ReturnNilWithMessage(message, slot);
}

std::int64_t QV_ReturnIntegerWithMessage(std::int64_t value, const std::string& message,
                                         std::optional<std::string>* slot) {
  store(message, slot);
  return value;
}

bool QV_IsEqualNSString(const std::optional<std::string>& a, const std::optional<std::string>& b) {
  return a == b;
}

bool QV_IsEqualNSDate(std::optional<double> a, std::optional<double> b) { return a == b; }

bool QV_IsEqualNSPoint(QVPoint a, QVPoint b, double tolerance) {
  if (tolerance == 0) return a.x == b.x && a.y == b.y;
  return std::abs(a.x - b.x) <= tolerance && std::abs(a.y - b.y) <= tolerance;
}

std::string QV_SringFromRect(const QVRect& rect) {
  return fmt::format("{{x:{:f} y:{:f} w:{:f} h:{:f}}}", rect.x, rect.y, rect.width, rect.height);
}

std::string QV_SupportEmail() {
  constexpr std::array pieces = {"support", "@", "tarnvale", ".", "example"};
  std::string address;
  for (const char* piece : pieces) address += piece;
  return address;
}

std::optional<std::string> QV_StringDelacement(std::span<const unsigned char> bytes) {
  if (bytes.empty()) return std::nullopt;
  auto decoded = decodedBase64(std::string(bytes.rbegin(), bytes.rend()));
  if (!decoded || !isUtf8(*decoded)) return std::nullopt;
  return decoded;
}
