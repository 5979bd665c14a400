#include "platform/qt/shell/TrayPresence.h"

#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QWidget>
#include <utility>

namespace platform::qt {
namespace {

constexpr std::uint8_t kSentFlag = 0x80;

// Announcements go to the root window, which is none of ours.
bool isOfTray(const xcb_generic_event_t& event) {
  const int type = event.response_type & ~kSentFlag;
  if (type == XCB_DESTROY_NOTIFY) return true;
  if (type != XCB_CLIENT_MESSAGE) return false;
  const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
  return QWidget::find(message.window) == nullptr;
}

}  // namespace

TrayPresence::TrayPresence(std::function<void()> mayHaveChanged)
    : mayHaveChanged_(std::move(mayHaveChanged)) {
  QCoreApplication::instance()->installNativeEventFilter(this);
}

TrayPresence::~TrayPresence() {
  if (QCoreApplication::instance() != nullptr)
    QCoreApplication::instance()->removeNativeEventFilter(this);
}

bool TrayPresence::nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) {
  if (type == "xcb_generic_event_t" && isOfTray(*static_cast<xcb_generic_event_t*>(message)))
    mayHaveChanged_();
  return false;
}

}  // namespace platform::qt
