#include "settings/Registry.h"

namespace settings {
namespace {

Outcome outcomeOf(const Checked& change) {
  if (change) return {};
  return Problem{.trouble = change.error().trouble, .facts = change.error().facts};
}

void tellOthers() { QVRamDiskEntries::postDidChangeToAllNotificationWithSender(kSenderApp); }

}  // namespace

Registry::Registry(std::shared_ptr<QVRamDiskEntriesDelegate> delegate)
    : entries_(QVRamDiskEntries::initWithDelegate(std::move(delegate))) {}

Outcome Registry::checkReading() const {
  switch (entries_->lastReading()) {
    case RegistryReading::NoFolder:
      return Problem{.trouble = Trouble::RegistryWithoutFolder};
    case RegistryReading::Unreadable:
      return Problem{.trouble = Trouble::RegistryUnreadable,
                     .facts = {.path = RegistryFile::defaultPath().value_or("")}};
    default:
      return {};
  }
}

Outcome Registry::load() {
  entries_->readRamDisksFromDefaultLocation();
  return checkReading();
}

Outcome Registry::loadSettled() {
  return entries_->changeFile([] { return false; }) ? checkReading() : load();
}

Outcome Registry::change(const Edit& edit) {
  Outcome edited;
  const auto written = entries_->changeFile([&] {
    edited = checkReading();
    if (edited) edited = edit();
    return static_cast<bool>(edited);
  });
  const auto done = edited ? outcomeOf(written) : edited;
  if (done)
    tellOthers();
  else
    load();
  return done;
}

Outcome Registry::saveStateOf(const QVRamDiskPtr& disk) {
  const auto saved = entries_->saveStatesOf({disk});
  if (saved) tellOthers();
  return outcomeOf(saved);
}

}  // namespace settings
