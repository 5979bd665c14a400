#include "platform/qt/shell/QtAlerts.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <algorithm>

#include "platform/qt/QtText.h"

namespace platform::qt {
namespace {

// A narrow box would break a path or a tool's words into many lines.
constexpr char kAlertStyle[] =
    "QLabel#qt_msgbox_label { font-weight: bold; }"
    "QLabel#qt_msgbox_informativelabel { min-width: 360px; }";

// The index of the button that ended it. The style may change the buttons' texts.
class Box : public QMessageBox {
 public:
  Box(const Alert& alert, QWidget* parent) : QMessageBox(parent) {
    setWindowTitle(QApplication::applicationDisplayName());
    setTextFormat(Qt::PlainText);
    setStyleSheet(QLatin1String(kAlertStyle));
    setText(qtText(alert.title));
    setInformativeText(qtText(alert.text));
    for (const auto& text : alert.buttons)
      added_.push_back(addButton(qtText(text), added_.empty() ? AcceptRole : ActionRole));
    if (added_.empty()) added_.push_back(addButton(Ok));
    setEscapeButton(added_.back());
  }

  std::size_t chosen() const {
    const auto found = std::find(added_.begin(), added_.end(), clickedButton());
    return found == added_.end() ? added_.size() - 1
                                 : static_cast<std::size_t>(found - added_.begin());
  }

 private:
  std::vector<QAbstractButton*> added_;
};

}  // namespace

std::size_t QtAlerts::runModal(const Alert& alert) {
  Box box(alert, nullptr);
  box.setAttribute(Qt::WA_ShowWithoutActivating);
  box.exec();
  return box.chosen();
}

bool QtAlerts::runAsSheet(const Alert& alert, const std::shared_ptr<Window>& window,
                          const std::function<void(std::size_t)>& ended) {
  if (!window || !window->widget) return false;
  auto box = std::make_unique<Box>(alert, window->widget);
  box->setAttribute(Qt::WA_DeleteOnClose);
  QObject::connect(box.get(), &QMessageBox::finished, window->widget,
                   [shown = box.get(), ended] { ended(shown->chosen()); });
  box.release()->open();
  return true;
}

}  // namespace platform::qt
