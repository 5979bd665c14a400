#pragma once
// Diagnostics of the whole program. A line reads "method:line object message" and goes to the
// system log at one of six severities. Any thread.

#include <fmt/format.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

class QVError;

class QVLog {
 public:
  // `severity` 0 to 5; a greater one has no label and shows the placeholder of an absent text.
  static void logWithSeverity(std::int64_t severity, std::string_view text,
                              const QVError* error = nullptr);

  static void logDiag(std::string_view text);
  static void logDebug(std::string_view text);  // does nothing
  static void logInfo(std::string_view text);
  static void logWarning(std::string_view text);
  static void logError(std::string_view text);
  static void logCriticalException(std::string_view text);

  // Shows the alert of an impossible state on the main thread and waits until it is dismissed.
  static void showCritialException(const std::string& text);

 private:
  static void mt_showCritialException(const std::string& text);
};

// What an absent object looks like in a text.
inline constexpr std::string_view QVNilText = "(null)";

inline std::string QVText(const std::optional<std::string>& text) {
  return text ? *text : std::string(QVNilText);
}

namespace qvlog {

struct Place {
  const char* method;
  int line;
};

// A format text that remembers where it was written. The compilers' own words for that are used
// because clang 14, which lints, has no std::source_location yet.
template <class... Args>
struct Located {
  fmt::format_string<Args...> format;
  Place where;

  template <class Text>
  requires std::convertible_to<const Text&, std::string_view>
  consteval Located(const Text& text, const char* method = __builtin_FUNCTION(),
                    int line = __builtin_LINE())
      : format(text), where{method, line} {}
};

template <class... Args>
using Text = std::type_identity_t<Located<Args...>>;

// "method:line object message"
std::string line(const Place& where, std::string_view object, std::string_view message);
void critical(const Place& where, std::string_view className, std::string_view object,
              std::string_view message, std::string_view unformatted);

}  // namespace qvlog

// The logging convention. `object` is the class that logs or the description of the instance.
template <class... Args>
void QVLogInfo(std::string_view object, qvlog::Text<Args...> text, Args&&... args) {
  QVLog::logInfo(
      qvlog::line(text.where, object, fmt::format(text.format, std::forward<Args>(args)...)));
}

template <class... Args>
void QVLogWarning(std::string_view object, qvlog::Text<Args...> text, Args&&... args) {
  QVLog::logWarning(
      qvlog::line(text.where, object, fmt::format(text.format, std::forward<Args>(args)...)));
}

template <class... Args>
void QVLogError(std::string_view object, qvlog::Text<Args...> text, Args&&... args) {
  QVLog::logError(
      qvlog::line(text.where, object, fmt::format(text.format, std::forward<Args>(args)...)));
}

// An impossible state: logged with its values, then shown to the user without them.
template <class... Args>
void QVLogCriticalException(std::string_view object, qvlog::Text<Args...> text, Args&&... args) {
  const fmt::string_view raw = text.format;
  qvlog::critical(text.where, object, object, fmt::format(text.format, std::forward<Args>(args)...),
                  {raw.data(), raw.size()});
}

// "function:line message", for functions of no object. `function` is the public name that callers
// know, whichever helper of it logs.
template <class... Args>
void QVLogFunctionError(std::string_view function, qvlog::Text<Args...> text, Args&&... args) {
  QVLog::logError(fmt::format("{}:{} {}", function, text.where.line,
                              fmt::format(text.format, std::forward<Args>(args)...)));
}
