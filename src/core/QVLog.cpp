#include "core/QVLog.h"

#include <array>

#include "core/QVError.h"
#include "core/QVLocalized.h"
#include "platform/Services.h"

namespace {

constexpr std::array<std::string_view, 6> kLabels = {"DIAG",    "DEBUG", "INFO",
                                                     "WARNING", "ERROR", "CRITIRAL EXCEPTION"};

std::string_view label(std::int64_t severity) {
  if (severity < 0 || severity >= static_cast<std::int64_t>(kLabels.size())) return QVNilText;
  return kLabels[static_cast<std::size_t>(severity)];
}

std::string applicationName() {
  const std::string path = platform::services().bundle->executablePath();
  return path.substr(path.find_last_of('/') + 1);
}

}  // namespace

void QVLog::logWithSeverity(std::int64_t severity, std::string_view text, const QVError* error) {
  std::string entry = fmt::format("{} {}", label(severity), text);
  if (error) entry += fmt::format("\n{{{}\n}}", error->description());
  platform::services().systemLog->write(severity, entry);
}

void QVLog::logDiag(std::string_view text) { logWithSeverity(0, text); }
void QVLog::logDebug(std::string_view) {}
void QVLog::logInfo(std::string_view text) { logWithSeverity(2, text); }
void QVLog::logWarning(std::string_view text) { logWithSeverity(3, text); }
void QVLog::logError(std::string_view text) { logWithSeverity(4, text); }
void QVLog::logCriticalException(std::string_view text) { logWithSeverity(5, text); }

void QVLog::showCritialException(const std::string& text) {
  platform::services().mainLoop->postAndWait([text] { mt_showCritialException(text); });
}

void QVLog::mt_showCritialException(const std::string& text) {
  const std::string title = QVLocalizedFormat(
      "An critical error occurred with %@.\nPlease, contact Support.", {applicationName()});
  platform::services().alerts->runModal({title, text, {"Ok"}});
}

std::string qvlog::line(const Place& where, std::string_view object, std::string_view message) {
  return fmt::format("{}:{} {} {}", where.method, where.line, object, message);
}

void qvlog::critical(const Place& where, std::string_view className, std::string_view object,
                     std::string_view message, std::string_view unformatted) {
  QVLog::logCriticalException(line(where, object, message));
  QVLog::showCritialException(
      fmt::format("{} {}:{}\n{}", className, where.method, where.line, unformatted));
}
