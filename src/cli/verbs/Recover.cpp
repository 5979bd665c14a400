#include <CLI/CLI.hpp>

#include "cli/Columns.h"
#include "cli/DiskNames.h"
#include "cli/DiskRecovery.h"
#include "cli/Interruption.h"
#include "cli/JsonWriter.h"
#include "cli/Words.h"
#include "cli/verbs/Verbs.h"

namespace cli::verbs {
namespace {

struct RecoverOptions {
  std::vector<std::string> names;
  bool all = false;
  bool dryRun = false;
  bool json = false;
};

void writeText(Context& context, const DiskRecovery& recovery) {
  const std::string name = printable(nameOf(*recovery.disk));
  for (const RecoveryFinding& finding : recovery.findings)
    context.say(name + ": " + printable(finding.text));
  if (recovery.findings.empty() && !recovery.failure) context.say(name + ": nothing to put right");
}

void writeFinding(JsonWriter& json, const RecoveryFinding& finding) {
  json.beginObject();
  json.member("step", std::optional(recoveryStepWords().of(finding.step)));
  json.member("path", std::optional(finding.path));
  json.member("text", std::optional(finding.text));
  json.endObject();
}

void writeRecovery(JsonWriter& json, const DiskRecovery& recovery) {
  const auto& failure = recovery.failure;
  json.beginObject();
  json.member("name", recovery.disk->name());
  json.member("identifier", recovery.disk->identifier());
  json.key("findings");
  json.beginArray();
  for (const RecoveryFinding& finding : recovery.findings) writeFinding(json, finding);
  json.endArray();
  json.member("error", failure ? std::optional(failure->what) : std::nullopt);
  json.endObject();
}

// Each disk is told about as soon as it was looked at.
class Report {
 public:
  Report(Context& context, bool asJson) : context_(context), asJson_(asJson) {
    if (asJson_) json_.beginArray();
  }

  void add(const DiskRecovery& recovery) {
    foundAny_ = foundAny_ || !recovery.findings.empty();
    asJson_ ? writeRecovery(json_, recovery) : writeText(context_, recovery);
    if (recovery.failure) status_ = combined(status_, context_.refuse(*recovery.failure));
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

int recover(Context& context, const RecoverOptions& options) {
  if (options.names.empty() != options.all)
    return context.refuse(kWrongUsage,
                          options.all ? "--all goes without names" : "no disk is named",
                          "write 'tarnvale recover DISK...' or 'tarnvale recover --all'");
  int status = kDone;
  auto registry = openRegistry(context, status);
  if (!registry) return status;
  auto selection = selectDisks(registry->disks(), options.names);
  if (selection.refusal) return context.refuse(*selection.refusal);
  if (options.all) selection.disks = registry->disks();
  const Interruption interruption;
  Report report(context, options.json);
  for (const auto& disk : selection.disks) {
    if (interruption.noted())
      report.add({disk, {}, Refusal{kActionFailed, "interrupted before " + nameOf(*disk), {}}});
    else
      report.add(options.dryRun ? DiskRecovery{disk, findCutOffActions(disk), {}}
                                : recoverDisk(*registry, disk));
  }
  return report.end(options.dryRun);
}

}  // namespace

void recover(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<RecoverOptions>();
  auto* verb = app.add_subcommand("recover", "Put right what cut-off actions have left");
  verb->add_option("DISK", options->names, "Disks, by name, identifier or the beginning of one")
      ->type_name("");
  verb->add_flag("--all", options->all, "Every disk");
  verb->add_flag("--dry-run", options->dryRun, "Only say what would be done");
  verb->add_flag("--json", options->json, "Write an array of objects");
  verb->callback([&invocation, options] {
    invocation.command = [options](Context& context) { return recover(context, *options); };
  });
}

}  // namespace cli::verbs
