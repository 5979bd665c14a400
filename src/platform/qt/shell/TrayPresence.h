#pragma once

#include <QAbstractNativeEventFilter>
#include <functional>

namespace platform::qt {

// Tells when a tray may have come to the X display or gone from it. One that comes announces
// itself, one that goes takes its window along.
class TrayPresence : public QAbstractNativeEventFilter {
 public:
  explicit TrayPresence(std::function<void()> mayHaveChanged);
  ~TrayPresence() override;

  bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

 private:
  std::function<void()> mayHaveChanged_;
};

}  // namespace platform::qt
