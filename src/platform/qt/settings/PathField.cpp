#include "platform/qt/settings/PathField.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QPushButton>

#include "core/QVLocalized.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "platform/qt/settings/Texts.h"
#include "settings/PathText.h"

namespace platform::qt {
namespace {

std::string home() { return services().places->home().value_or("/"); }

}  // namespace

PathField::PathField(const QString& name, QWidget* parent)
    : QWidget(parent), edit_(new QLineEdit(this)), button_(new QPushButton(this)) {
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(edit_, 1);
  row->addWidget(button_);
  edit_->setObjectName(name);
  button_->setObjectName(name + "Choose");
  button_->setText(qtText(QVLocalized("Choose…")));
  setFocusProxy(edit_);
  QObject::connect(button_, &QPushButton::clicked, this, [this] { choose(); });
}

std::optional<std::string> PathField::path() const {
  const std::string text = plainText(edit_->text());
  if (text.empty()) return std::nullopt;
  const std::string whole = settings::expandedPath(text);
  return settings::absolutePath(
      whole.starts_with('/') ? whole : extensions::appendingPathComponent(home(), whole));
}

void PathField::setPath(const std::optional<std::string>& shown) {
  if (shown == path()) return;
  edit_->setText(shown ? qtText(extensions::abbreviatingWithTilde(*shown, home())) : QString());
}

void PathField::choose() {
  const QString from = qtText(path().value_or(home()));
  const QString chosen = QFileDialog::getExistingDirectory(this, {}, from);
  if (!chosen.isEmpty()) setPath(plainText(chosen));
}

}  // namespace platform::qt
