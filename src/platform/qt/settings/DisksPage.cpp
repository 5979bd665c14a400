// What is edited, and what others change meanwhile.
//
// Three states of a disk meet here: the record in the registry, which any program may change at any
// time; what the form shows; and a draft (settings/Draft.h) per disk that was looked at: the record
// as it was saved and as it is edited. The difference is the edit; the form is never the truth:
//
//   a key is pressed   form --store()--> draft         takeEdits(), takeKind()
//   another selected   form <--load()--- its draft     showSelected()
//   others saved       draft takes over what is not edited; the form is loaded   refresh()
//   Apply              draft's difference --> the registry as it is by then   apply()
//
// So edits of one disk survive looking at another one, and what others saved survives an edit of
// another setting. The form is told whether it shows another disk than before: where it does not,
// what says the same already is not touched, for a text that is set loses the cursor and the half
// of a number or command that is being typed. Adding, removing and reordering have no draft; they
// change the registry at once.
#include "platform/qt/settings/DisksPage.h"

#include <QStackedWidget>

#include "core/QVLocalized.h"
#include "kinds/QVSimDevice.h"
#include "platform/qt/settings/Confirmation.h"
#include "platform/qt/settings/Fields.h"
#include "settings/DiskState.h"
#include "settings/Edits.h"
#include "settings/Problem.h"
#include "settings/TypedText.h"

namespace platform::qt {
namespace {

using settings::DiskState;
using settings::sizeText;

// How a disk is called in the list: by its kind, and a plain one by its name.
QString nameOf(const QVRamDisk& disk) { return qtText(disk.displayName()); }

QString statusText(QVRamDiskStatus status) {
  switch (status) {
    case QVRamDiskStatus_mounted:
      return qtText(QVLocalized("QVRamDiskStatus_mounted", "QVRamDiskLocalizable"));
    case QVRamDiskStatus_created:
      return qtText(QVLocalized("QVRamDiskStatus_created", "QVRamDiskLocalizable"));
    default:
      return qtText(QVLocalized("QVRamDiskStatus_notCreated", "QVRamDiskLocalizable"));
  }
}

QString detailOf(const QVRamDisk& disk, QVRamDiskStatus status) {
  QStringList parts = {statusText(status)};
  if (status == QVRamDiskStatus_mounted)
    parts << QStringLiteral("%1 %").arg(settings::usedPercent(disk));
  parts << qtText(sizeText(disk.size()));
  return parts.join(QStringLiteral(" · "));
}

}  // namespace

settings::Draft& DisksPage::draftOf(const QVRamDisk& disk) {
  return drafts_.try_emplace(disk.identifier().value_or(""), disk).first->second;
}

QVRamDiskPtr DisksPage::selectedDisk() {
  return registry_.entries().ramDiskWithIdentifier(selected_);
}

// --- What the user does

void DisksPage::add() {
  Identifier added;
  const auto done = settings::addDisk(registry_, added);
  if (done) selected_ = added;
  refresh();
  if (done) form_->focusName();
  told_(done);
}

void DisksPage::askToRemove() {
  const auto disk = selectedDisk();
  if (!disk) return;
  DiskState state(registry_.disks());
  if (const auto may = settings::checkRemoving(*disk, state); !may) return told_(may);
  confirmRemoval(*this, *disk, [this, identifier = disk->identifier()] { remove(identifier); });
}

void DisksPage::remove(const Identifier& identifier) {
  Identifier next;
  const auto done = settings::removeDisk(registry_, identifier, next);
  if (done) selected_ = next;
  refresh();
  told_(done);
}

void DisksPage::move(const QString& identifier, std::int64_t gap) {
  const auto done = settings::moveDisk(registry_, plainText(identifier), gap);
  refresh();
  told_(done);
}

void DisksPage::moveSelected(int toGap) {
  const int row = model_->rowOf(qtText(selected_));
  const int gap = row + toGap;
  if (row >= 0 && gap >= 0 && gap <= model_->rowCount()) move(qtText(selected_), gap);
}

bool DisksPage::apply() {
  const auto disk = selectedDisk();
  if (!disk) return false;
  const auto change = draftOf(*disk).change();
  const auto done = settings::changeDisk(registry_, selected_, change);
  if (done) drafts_.erase(selected_.value_or(""));
  refresh();
  told_(done);
  return static_cast<bool>(done);
}

bool DisksPage::applyAll() {
  const auto disks = registry_.disks();
  for (const auto& disk : disks) {
    if (!draftOf(*disk).isChanged()) continue;
    select(disk->identifier());
    if (!apply_->isEnabled() || !apply()) return false;
  }
  return true;
}

void DisksPage::revert() {
  const auto disk = selectedDisk();
  if (!disk) return;
  draftOf(*disk).revert();
  shown_.reset();
  showSelected();
}

QStringList DisksPage::changedNames() const {
  QStringList names;
  for (const auto& disk : registry_.disks()) {
    const auto draft = drafts_.find(disk->identifier().value_or(""));
    if (draft != drafts_.end() && draft->second.isChanged()) names << nameOf(*disk);
  }
  return names;
}

void DisksPage::takeKind() {
  const auto disk = selectedDisk();
  if (!disk) return;
  auto& edited = draftOf(*disk).edited();
  const auto& devices = *QVSimDeviceList::sharedInstance().devices();
  const bool wantsDevice = form_->kind() == QVRamDiskType_CoreSimulator;
  if (wantsDevice && form_->simulator()) {
    edited.setSimId(form_->simulator());
  } else if (wantsDevice && !edited.simId() && !devices.empty()) {
    edited.setSimId(devices.front()->dirId());
  }
  edited.changeToType(form_->kind(), 0);
  form_->load(edited, false);
  showState();
}

void DisksPage::takeEdits() {
  const auto disk = selectedDisk();
  if (!disk) return;
  form_->store(draftOf(*disk).edited());
  showState();
}

// --- What is shown

void DisksPage::refresh() {
  dropDrafts();
  for (const auto& disk : registry_.disks()) draftOf(*disk).rebase(*disk);
  if (!selectedDisk())
    selected_ = registry_.disks().empty() ? std::nullopt : registry_.disks().front()->identifier();
  select(selected_);
}

void DisksPage::refreshKinds() { form_->setKinds(settings::kindChoices()); }

// Of disks that are there no more.
void DisksPage::dropDrafts() {
  std::erase_if(drafts_, [this](const auto& draft) {
    return !registry_.entries().ramDiskWithIdentifier(draft.first);
  });
}

void DisksPage::select(const Identifier& identifier) {
  selected_ = identifier;
  DiskState state(registry_.disks());
  showRows(state);
  showSelected();
}

void DisksPage::showRows(DiskState& state) {
  refreshing_ = true;
  std::vector<DiskRow> rows;
  for (const auto& disk : registry_.disks()) rows.push_back(rowOf(*disk, state));
  model_->setRows(std::move(rows));
  const int row = model_->rowOf(qtText(selected_));
  if (row >= 0) list_->setCurrentIndex(model_->index(row));
  refreshing_ = false;
}

DiskRow DisksPage::rowOf(const QVRamDisk& disk, DiskState& state) const {
  const auto draft = drafts_.find(disk.identifier().value_or(""));
  const auto status = state.status(disk);
  return {.identifier = qtText(disk.identifier()),
          .name = nameOf(disk),
          .detail = detailOf(disk, status),
          .type = disk.type(),
          .mounted = status == QVRamDiskStatus_mounted,
          .edited = draft != drafts_.end() && draft->second.isChanged()};
}

void DisksPage::showSelected() {
  const auto disk = selectedDisk();
  pages_->setCurrentIndex(disk ? 0 : 1);
  remove_->setEnabled(disk != nullptr);
  add_->setEnabled(!registry_.isFull());
  if (!disk) {
    shown_.reset();
    return;
  }
  form_->load(draftOf(*disk).edited(), shown_ != selected_);
  shown_ = selected_;
  showState();
}

void DisksPage::showState() {
  const auto disk = selectedDisk();
  if (!disk) return;
  DiskState state(registry_.disks());
  const auto& draft = draftOf(*disk);
  const auto change = draft.change();
  const auto problems = settings::problemsOfDraft(draft.edited(), change, registry_.disks());
  title_->setText(nameOf(*disk));
  state_->setText(detailOf(*disk, state.status(*disk)) + QStringLiteral(" · ") +
                  qtText(disk->shownPath()));
  form_->setLocks(draft.edited(), locksOf(*disk, state));
  form_->setProblems(problems);
  const auto note = settings::noteOnContents(draft.edited());
  form_->setContentsNote(note ? QString() : qtText(settings::textOf(note.error())));
  form_->setMemoryNote(memoryNote(draft.edited(), state));
  apply_->setEnabled(!change.isEmpty() && problems.empty());
  revert_->setEnabled(!change.isEmpty());
  showRows(state);
}

FormLocks DisksPage::locksOf(const QVRamDisk& disk, DiskState& state) {
  settings::Change toVolume;
  toVolume.size = 0;
  settings::Change toPlace;
  toPlace.name = std::string();
  const auto volume = settings::checkChanging(disk, toVolume, state);
  const auto place = volume ? settings::checkChanging(disk, toPlace, state) : settings::Outcome();
  const auto& both = volume ? place : volume;
  lockReason_->setVisible(!both);
  lockReason_->setText(both ? QString() : qtText(settings::textOf(both.error())));
  return {.volume = !volume, .place = !place, .base = !both};
}

QString DisksPage::memoryNote(const QVRamDisk& disk, DiskState& state) const {
  const auto facts = settings::memoryFactsFor(disk, registry_.disks(), state);
  return qtText(QVLocalizedFormat(
      disk.size() > facts.available() ? "Only %@ of %@ are free now" : "%@ of %@ free",
      {sizeText(facts.available()), sizeText(facts.physical)}));
}

}  // namespace platform::qt
