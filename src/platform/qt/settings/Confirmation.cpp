#include "platform/qt/settings/Confirmation.h"

#include <QMessageBox>
#include <QPushButton>

#include "core/QVLocalized.h"
#include "platform/qt/QtText.h"
#include "settings/Edits.h"

namespace platform::qt {
namespace {

QMessageBox* question(QWidget& parent, const char* name, const std::string& text) {
  auto* box =
      new QMessageBox(QMessageBox::Question, {}, qtText(text), QMessageBox::NoButton, &parent);
  box->setObjectName(name);
  box->setAttribute(Qt::WA_DeleteOnClose);
  return box;
}

QPushButton* addButton(QMessageBox& box, const std::string& text, QMessageBox::ButtonRole role,
                       const char* name) {
  auto* button = box.addButton(qtText(text), role);
  button->setObjectName(name);
  return button;
}

// What goes with the record, and what does not.
std::string lossText(const QVRamDisk& disk) {
  std::string text = QVLocalized("Its settings are forgotten.");
  if (const auto lost = settings::backupLostByRemoving(disk))
    text += "\n" + QVLocalizedFormat("The backup of its contents is deleted: %@", {*lost});
  if (disk.backupMode() == QVRamDiskBackupMode_Directory && disk.backupDir())
    text += "\n" + QVLocalizedFormat("Its backup in %@ stays.", {*disk.backupDir()});
  return text;
}

}  // namespace

void confirmRemoval(QWidget& parent, const QVRamDisk& disk, std::function<void()> confirmed) {
  auto* box =
      question(parent, "confirmRemoval",
               QVLocalizedFormat("Remove the RamDisk %@?", {disk.displayName().value_or("")}));
  box->setInformativeText(qtText(lossText(disk)));
  auto* remove = addButton(*box, QVLocalized("Remove"), QMessageBox::DestructiveRole, "confirm");
  box->setDefaultButton(addButton(*box, QVLocalized("Cancel"), QMessageBox::RejectRole, "cancel"));
  QObject::connect(remove, &QPushButton::clicked, &parent, std::move(confirmed));
  box->open();
}

void askAboutEdits(QWidget& parent, const QStringList& names, std::function<void()> apply,
                   std::function<void()> discard) {
  auto* box =
      question(parent, "unapplied",
               QVLocalizedFormat("Apply the changes of %@?", {plainText(names.join(", "))}));
  auto* yes = addButton(*box, QVLocalized("Apply"), QMessageBox::AcceptRole, "confirm");
  auto* no = addButton(*box, QVLocalized("Discard"), QMessageBox::DestructiveRole, "discard");
  addButton(*box, QVLocalized("Cancel"), QMessageBox::RejectRole, "cancel");
  box->setDefaultButton(yes);
  QObject::connect(yes, &QPushButton::clicked, &parent, std::move(apply));
  QObject::connect(no, &QPushButton::clicked, &parent, std::move(discard));
  box->open();
}

}  // namespace platform::qt
