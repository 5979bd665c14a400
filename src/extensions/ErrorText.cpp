#include "extensions/ErrorText.h"

#include "extensions/Text.h"
#include "platform/Result.h"

namespace extensions {
namespace {

std::string textOf(const QVErrorCause& cause) {
  if (const auto* error = std::get_if<QVErrorPtr>(&cause)) return *error ? (*error)->message() : "";
  if (const auto* error = std::get_if<platform::SystemError>(&cause)) return error->text;
  if (const auto* text = std::get_if<std::string>(&cause)) return *text;
  return {};
}

// A tool's words may be several lines.
std::string asOneLine(const std::string& text) {
  std::string line = trimmedWhitespaceAndNewlines(text);
  for (auto end = line.find('\n'); end != std::string::npos; end = line.find('\n', end))
    line.replace(end, 1, " ");
  return line;
}

}  // namespace

std::string causeText(const QVError& error) {
  auto initial = error.initialError();
  if (std::holds_alternative<std::monostate>(initial)) initial = error.depends();
  return asOneLine(textOf(initial));
}

std::string errorText(const QVError& error) {
  const std::string cause = causeText(error);
  return cause.empty() ? error.message() : error.message() + " (" + cause + ")";
}

}  // namespace extensions
