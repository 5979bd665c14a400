#include "cli/Recover.h"

#include "cli/DiskNames.h"
#include "cli/Interruption.h"
#include "cli/Output.h"
#include "cli/Verbs.h"
#include "cli/Words.h"
#include "extensions/ErrorText.h"
#include "ramdisk/ActionLock.h"
#include "settings/DiskState.h"

namespace cli {
namespace {

// What cut-off actions had left of a disk.
struct DiskRecovery {
  QVRamDiskPtr disk;
  std::vector<RecoveryFinding> findings;
  Allowed outcome;  // when it failed the last finding may not be put right
};

// Puts one disk right and saves its record when that changed anything.
DiskRecovery recoverDisk(Registry& registry, const QVRamDiskPtr& disk,
                         RecoveryPurpose purpose = RecoveryPurpose::ClearTheWay) {
  DiskRecovery recovery{disk, {}, {}};
  const auto lock = ActionLock::take(disk->identifier());  // until what was found is saved
  QVErrorPtr error = lock.error();
  if (lock) recovery.findings = recoverCutOffActions(disk, *lock, error, purpose);
  if (error)
    recovery.outcome = Refusal{kActionFailed, nameOf(*disk) + ": " + extensions::errorText(*error),
                               "what an action left that was cut off is not put right yet"};
  if (recovery.findings.empty()) return recovery;
  auto saved = registry.saveStateOf(disk);
  if (recovery.outcome) recovery.outcome = std::move(saved);
  return recovery;
}

bool isLeftToTheAction(const ActionVerb& verb, const QVRamDisk& disk, const Registry& registry) {
  if (verb.action != QVRamDiskActionRemount && verb.action != QVRamDiskActionEject) return false;
  return settings::DiskState(registry.disks()).status(disk) == QVRamDiskStatus_created;
}

// That a volume is there after all is nothing to be warned of.
void warnOf(Context& context, const DiskRecovery& recovery) {
  for (const RecoveryFinding& finding : recovery.findings)
    if (finding.step != RecoveryStep::Adopt)
      context.warn(nameOf(*recovery.disk) + ": " + finding.text);
}

void writeText(Context& context, const DiskRecovery& recovery) {
  const std::string name = printable(nameOf(*recovery.disk));
  for (const RecoveryFinding& finding : recovery.findings)
    context.say(name + ": " + printable(finding.text));
  if (recovery.findings.empty() && recovery.outcome) context.say(name + ": nothing to put right");
}

void writeFinding(JsonWriter& json, const RecoveryFinding& finding) {
  json.beginObject();
  json.member("step", std::optional(recoveryStepWords().of(finding.step)));
  json.member("path", std::optional(finding.path));
  json.member("text", std::optional(finding.text));
  json.endObject();
}

void writeRecovery(JsonWriter& json, const DiskRecovery& recovery) {
  json.beginObject();
  json.member("name", recovery.disk->name());
  json.member("identifier", recovery.disk->identifier());
  json.key("findings");
  json.beginArray();
  for (const RecoveryFinding& finding : recovery.findings) writeFinding(json, finding);
  json.endArray();
  json.member("error",
              recovery.outcome ? std::nullopt : std::optional(recovery.outcome.error().what));
  json.endObject();
}

// Each disk is told about as soon as it was looked at.
class RecoveryReport {
 public:
  RecoveryReport(Context& context, bool asJson) : context_(context), asJson_(asJson) {
    if (asJson_) json_.beginArray();
  }

  void add(const DiskRecovery& recovery) {
    foundAny_ = foundAny_ || !recovery.findings.empty();
    asJson_ ? writeRecovery(json_, recovery) : writeText(context_, recovery);
    if (!recovery.outcome) status_ = combined(status_, context_.refuse(recovery.outcome.error()));
  }

  int end(bool dryRun) {
    if (asJson_) json_.endArray();
    if (!asJson_ && dryRun && foundAny_) context_.say("this was a dry run, nothing was changed");
    context_.streams.out.flush();
    return status_;
  }

 private:
  Context& context_;
  const bool asJson_;
  JsonWriter json_{context_.streams.out};
  bool foundAny_ = false;
  int status_ = kDone;
};

}  // namespace

int recoverBeforeAction(Context& context, const ActionVerb& verb, Registry& registry,
                        std::vector<QVRamDiskPtr>& disks) {
  const Interruption interruption;
  int status = kDone;
  const auto isNotReady = [&](const QVRamDiskPtr& disk) {
    if (interruption.noted()) return true;
    if (isLeftToTheAction(verb, *disk, registry)) return false;
    const DiskRecovery recovery = recoverDisk(registry, disk, recoveryPurposeOf(verb.action));
    warnOf(context, recovery);
    if (recovery.outcome) return false;
    status = combined(status, context.refuse(recovery.outcome.error()));
    return true;
  };
  std::erase_if(disks, isNotReady);
  if (!interruption.noted()) return status;
  disks.clear();
  return context.refuse(kActionFailed, "interrupted before the action began");
}

int verbs::recover(Context& context, const RecoverRequest& request) {
  if (request.names.empty() != request.all)
    return context.refuse(kWrongUsage,
                          request.all ? "--all goes without names" : "no disk is named",
                          "write 'tarnvale recover DISK...' or 'tarnvale recover --all'");
  auto registry = openRegistry(context);
  if (!registry) return registry.error();
  auto selection = selectDisks(registry->disks(), request.names);
  if (!selection) return context.refuse(selection.error());
  if (request.all) *selection = registry->disks();
  const Interruption interruption;
  RecoveryReport report(context, request.json);
  for (const auto& disk : *selection) {
    if (interruption.noted())
      report.add({disk, {}, Refusal{kActionFailed, "interrupted before " + nameOf(*disk), {}}});
    else
      report.add(request.dryRun ? DiskRecovery{disk, findCutOffActions(disk), {}}
                                : recoverDisk(*registry, disk));
  }
  return report.end(request.dryRun);
}

}  // namespace cli
