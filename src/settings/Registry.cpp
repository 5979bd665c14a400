#include "settings/Registry.h"

namespace settings {
namespace {

Reason reasonOf(RegistryFailure::Reason reason) {
  switch (reason) {
    case RegistryFailure::Reason::NoFolder:
      return Reason::NoFolder;
    case RegistryFailure::Reason::Busy:
      return Reason::RegistryBusy;
    default:
      return Reason::Unwritable;
  }
}

std::optional<Problem> problemOf(const std::optional<RegistryFailure>& failure) {
  if (!failure) return std::nullopt;
  return Problem{.reason = reasonOf(failure->reason), .path = failure->path, .text = failure->text};
}

void tellOthers() { QVRamDiskEntries::postDidChangeToAllNotificationWithSender(kSenderApp); }

}  // namespace

Registry::Registry(std::shared_ptr<QVRamDiskEntriesDelegate> delegate)
    : entries_(QVRamDiskEntries::initWithDelegate(std::move(delegate))) {}

std::optional<Problem> Registry::problemOfReading() const {
  switch (entries_->lastReading()) {
    case RegistryReading::NoFolder:
      return Problem{.reason = Reason::NoFolder};
    case RegistryReading::Unreadable:
      return Problem{.reason = Reason::Unreadable,
                     .path = RegistryFile::defaultPath().value_or("")};
    default:
      return std::nullopt;
  }
}

std::optional<Problem> Registry::load() {
  entries_->readRamDisksFromDefaultLocation();
  return problemOfReading();
}

std::optional<Problem> Registry::loadSettled() {
  return entries_->changeFile([] { return false; }) ? load() : problemOfReading();
}

std::optional<Problem> Registry::change(const Edit& edit) {
  std::optional<Problem> problem;
  const auto failure = entries_->changeFile([&] {
    problem = problemOfReading();
    if (!problem) problem = edit();
    return !problem;
  });
  if (!problem) problem = problemOf(failure);
  if (problem)
    load();
  else
    tellOthers();
  return problem;
}

std::optional<Problem> Registry::saveStateOf(const QVRamDiskPtr& disk) {
  const auto failure = entries_->saveStatesOf({disk});
  if (!failure) tellOthers();
  return problemOf(failure);
}

}  // namespace settings
