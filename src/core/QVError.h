#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/AtomicProperty.h"
#include "platform/Result.h"

class QVError;
using QVErrorPtr = std::shared_ptr<QVError>;

// What an error came from: another error, one of the system, or a tool's own words.
using QVErrorCause = std::variant<std::monostate, QVErrorPtr, platform::SystemError, std::string>;

// One failure. `message` is for the user, `reason` a short tag that names the failed call.
// Immutable but for its infos, which only the thread that made it adds, and isNotified.
class QVError {
 public:
  struct Info {
    std::optional<std::string> info;
    std::string key;
  };

  // Makes an error and logs it once, at error severity.
  static QVErrorPtr errorWithMessage(std::string message, std::string reason);
  static QVErrorPtr errorWithMessage(std::string message, std::string reason, QVErrorCause depends);

  std::uint64_t errorCount() const { return errorCount_; }  // serial number in this process
  const std::string& message() const { return message_; }
  const std::string& reason() const { return reason_; }
  const QVErrorCause& depends() const { return depends_; }

  std::string description() const;

  void addInfo(std::optional<std::string> info, std::string key);
  std::vector<Info> infos() const { return infos_; }

  // The far end of the chain of causes, empty unless the direct cause is a QVError.
  QVErrorCause initialError() const;
  std::optional<std::string> initialErrorMessage() const;
  std::vector<QVErrorPtr> errorsStack() const { return {}; }

  bool isNotified() const { return isNotified_.get(); }
  void setIsNotified(bool notified) { isNotified_.set(notified); }

  // Shows the error in an alert, on the main thread. Without a title the message is the title and
  // the initial cause the text.
  void presentWIthTitle(const std::optional<std::string>& title) const;

 private:
  QVError() = default;

  std::uint64_t errorCount_ = 0;
  std::string message_;
  std::string reason_;
  QVErrorCause depends_;
  std::vector<Info> infos_;
  AtomicProperty<bool> isNotified_;
};

// The cause as a text for logs.
std::string QVDescription(const QVErrorCause& cause);
std::string QVDescription(const QVErrorPtr& error);
std::string QVDescription(const platform::SystemError& error);

// The cause made of a tool's standard-error text, none where it wrote nothing.
QVErrorCause QVCauseFromText(const std::optional<std::string>& text);
