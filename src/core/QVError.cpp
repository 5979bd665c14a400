#include "core/QVError.h"

#include <fmt/format.h>

#include <atomic>
#include <utility>

#include "core/QVLog.h"
#include "platform/Services.h"

namespace {

std::atomic<std::uint64_t> errorCounter{0};

std::string qv_stringTerminatedByPoint(std::string text) {
  if (!text.empty() && !text.ends_with('.')) text += '.';
  return text;
}

QVErrorCode codeOf(const QVErrorCause& cause) {
  const auto* error = std::get_if<QVErrorPtr>(&cause);
  return error && *error ? (*error)->code() : QVErrorCode::None;
}

}  // namespace

QVErrorPtr QVError::errorWithMessage(std::string message, std::string reason) {
  return errorWithMessage(std::move(message), std::move(reason), QVErrorCode::None);
}

QVErrorPtr QVError::errorWithMessage(std::string message, std::string reason, QVErrorCode code) {
  return errorWithMessage(std::move(message), std::move(reason), QVErrorCause(), code);
}

QVErrorPtr QVError::errorWithMessage(std::string message, std::string reason, QVErrorCause depends,
                                     QVErrorCode code) {
  struct Constructible : QVError {};
  auto error = std::make_shared<Constructible>();
  error->errorCount_ = ++errorCounter;
  error->message_ = std::move(message);
  error->reason_ = std::move(reason);
  error->code_ = code == QVErrorCode::None ? codeOf(depends) : code;
  error->depends_ = std::move(depends);
  QVLogError("QVError", "{}", error->description());
  return error;
}

std::string QVError::description() const {
  std::string text =
      fmt::format("<QVError {} message:{} reason:{}", fmt::ptr(this), message_, reason_);
  for (const auto& info : infos_)
    text += fmt::format("\n\tInfos[{}]:{{{}\n}}", info.key, info.info.value_or("<null>"));
  if (!std::holds_alternative<std::monostate>(depends_))
    text += fmt::format("\n\tDepends:{}", QVDescription(depends_));
  return text + ">";
}

void QVError::addInfo(std::optional<std::string> info, std::string key) {
  infos_.push_back({std::move(info), std::move(key)});
}

QVErrorCause QVError::initialError() const {
  auto next = std::get_if<QVErrorPtr>(&depends_);
  if (!next || !*next) return {};
  for (QVErrorPtr error = *next;;) {
    const auto* deeper = std::get_if<QVErrorPtr>(&error->depends_);
    if (deeper && *deeper) {
      error = *deeper;
    } else if (deeper || std::holds_alternative<std::monostate>(error->depends_)) {
      return error;
    } else {
      return error->depends_;
    }
  }
}

std::optional<std::string> QVError::initialErrorMessage() const {
  const QVErrorCause initial = initialError();
  if (const auto* error = std::get_if<QVErrorPtr>(&initial)) return (*error)->message_;
  if (const auto* error = std::get_if<platform::SystemError>(&initial)) return error->text;
  if (const auto* text = std::get_if<std::string>(&initial)) return *text;
  return std::nullopt;
}

void QVError::presentWIthTitle(const std::optional<std::string>& title) const {
  const std::string heading = title ? *title : message_;
  const std::string text = title ? message_ : initialErrorMessage().value_or("");
  platform::services().alerts->runModal(
      {qv_stringTerminatedByPoint(heading), qv_stringTerminatedByPoint(text), {"Ok"}});
}

std::string QVDescription(const platform::SystemError& error) {
  return fmt::format("Error Domain={} Code={} \"{}\"", error.domain, error.code, error.text);
}

std::string QVDescription(const QVErrorPtr& error) {
  return error ? error->description() : std::string(QVNilText);
}

std::string QVDescription(const QVErrorCause& cause) {
  if (const auto* error = std::get_if<QVErrorPtr>(&cause)) return QVDescription(*error);
  if (const auto* error = std::get_if<platform::SystemError>(&cause)) return QVDescription(*error);
  if (const auto* text = std::get_if<std::string>(&cause)) return *text;
  return std::string(QVNilText);
}

QVErrorCause QVCauseFromText(const std::optional<std::string>& text) {
  if (!text) return {};
  return *text;
}
