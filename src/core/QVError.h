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

// What a caller may have to know of a failure to go on, or to advise. Most need none.
enum class QVErrorCode : std::uint8_t {
  None,
  ContentsTooLarge,  // the disk is too small for the contents that it is to be filled with
  CommandFailed,     // the command that runs on the new disk
  PlaceTaken,        // another volume is mounted there
  OtherVolume,       // the device holds another volume by now
  Locked,            // another program acts on the disk; nothing was begun
  RefillUnfinished,  // the volume's contents never came in whole
  NotRestored,       // the volume is there, but not all of its contents were brought back
  VolumeGone,        // the disk is no longer mounted where it was
  InUse,             // programs use what the action would take from under them; nothing was done
  NotAllSaved,       // entries could not be saved; the former generation is kept
  CannotBeHeld,      // the directory holds what its user may not read; nothing was done
};

// One failure. `message` is for the user, `reason` a short tag that names the failed call and is
// for the log; what is to be decided by is `code`.
// Immutable but for its infos, which only the thread that made it adds, and isNotified.
class QVError {
 public:
  struct Info {
    std::optional<std::string> info;
    std::string key;
  };

  // Makes an error and logs it once, at error severity.
  static QVErrorPtr errorWithMessage(std::string message, std::string reason);
  static QVErrorPtr errorWithMessage(std::string message, std::string reason, QVErrorCause depends,
                                     QVErrorCode code = QVErrorCode::None);
  static QVErrorPtr errorWithMessage(std::string message, std::string reason, QVErrorCode code);

  std::uint64_t errorCount() const { return errorCount_; }  // serial number in this process
  const std::string& message() const { return message_; }
  const std::string& reason() const { return reason_; }
  // An error without a code of its own has that of the error it came from.
  QVErrorCode code() const { return code_; }
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
  QVErrorCode code_ = QVErrorCode::None;
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
