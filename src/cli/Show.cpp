// What there is: disks as a table, as facts and as JSON, and the kinds that a disk can be of.

#include <fmt/format.h>

#include "cli/DiskNames.h"
#include "cli/Output.h"
#include "cli/Registry.h"
#include "cli/Verbs.h"
#include "cli/Words.h"
#include "extensions/ErrorText.h"
#include "settings/Change.h"
#include "settings/DiskState.h"
#include "settings/KindChoices.h"
#include "settings/TypedText.h"

namespace cli {
namespace {

using Text = std::optional<std::string>;

std::string statusText(QVRamDiskStatus status) {
  return status == QVRamDiskStatus_notCreated ? "not created" : statusWords().of(status);
}

// What only a created disk has.
Text deviceOf(const QVRamDisk& disk, QVRamDiskStatus status) {
  return status == QVRamDiskStatus_notCreated ? std::nullopt : disk.deviceNode();
}

Text mountPointOf(const QVRamDisk& disk, QVRamDiskStatus status) {
  return status == QVRamDiskStatus_mounted ? disk.path() : std::nullopt;
}

Text lastErrorOf(const QVRamDisk& disk) {
  const auto error = disk.lastError();
  return error ? Text(extensions::errorText(*error)) : std::nullopt;
}

std::string backupText(const QVRamDisk& disk) {
  const std::string mode = backupWords().of(disk.backupMode());
  return disk.backupDirPath() ? mode + ", in " + *disk.backupDirPath() : mode;
}

void writeSettings(JsonWriter& json, const QVRamDisk& disk) {
  json.member("mountDirectory", disk.mountDirectory());
  json.member("backupMode", Text(backupWords().of(disk.backupMode())));
  json.member("backupDirectory", disk.backupDir());
  json.flag("createAtLogin", disk.createAtLogin());
  json.member("format", Text(formatWords().of(disk.format())));
  json.member("index", Text(indexWords().of(disk.mdIndexMode())));
  json.flag("measuresBase", !disk.doNotCalculateBaseSize());
  json.member("simulator", disk.simId());
  json.member("postCommand", disk.postCmd());
  json.key("postCommandArguments");
  json.beginArray();
  for (const auto& argument : disk.postCmdArgs().value_or(std::vector<std::string>()))
    json.text(argument);
  json.endArray();
}

void writeDisk(JsonWriter& json, const QVRamDisk& disk, QVRamDiskStatus status) {
  const bool mounted = status == QVRamDiskStatus_mounted;
  json.beginObject();
  json.member("name", disk.name());
  json.member("identifier", disk.identifier());
  json.member("type", Text(kindWords().of(disk.type())));
  json.member("size", disk.size());
  json.member("status", Text(statusWords().of(status)));
  json.member("deviceNode", deviceOf(disk, status));
  json.member("path", mountPointOf(disk, status));
  json.member("volSize", mounted ? disk.volSize() : 0);
  json.member("volFree", mounted ? disk.volFree() : 0);
  writeSettings(json, disk);
  json.member("lastError", lastErrorOf(disk));
  json.endObject();
}

// One row for every disk.
std::string tableOf(const std::vector<QVRamDiskPtr>& disks, settings::DiskState& state) {
  Table table({"NAME", "KIND", "SIZE", "STATUS", "USED", "MOUNTED ON"});
  for (const auto& disk : disks) {
    const auto status = state.status(*disk);
    const bool mounted = status == QVRamDiskStatus_mounted;
    table.add({nameOf(*disk), kindWords().of(disk->type()), settings::sizeText(disk->size()),
               statusText(status),
               mounted ? fmt::format("{} %", settings::usedPercent(*disk)) : "-",
               mounted ? shownMountPoint(*disk) : "-"});
  }
  return table.text();
}

// All that is known of one disk, a line for every fact.
std::string factsOf(const QVRamDisk& disk, settings::DiskState& state) {
  const auto status = state.status(disk);
  std::string text;
  const auto fact = [&](const char* label, const Text& value) {
    constexpr int kLabelWidth = 15;
    if (value && !value->empty())
      text += fmt::format("{:<{}}{}\n", label, kLabelWidth, printable(*value));
  };
  fact("Name", disk.name());
  fact("Identifier", disk.identifier());
  fact("Kind", kindWords().of(disk.type()));
  fact("Simulator", disk.simId());
  fact("Size", fmt::format("{} ({} bytes)", settings::sizeText(disk.size()), disk.size()));
  fact("Status", statusText(status));
  fact("Device", deviceOf(disk, status));
  fact("Mounted on", mountPointOf(disk, status));
  if (status == QVRamDiskStatus_mounted)
    fact("Free", fmt::format("{} of {}, {} % used", settings::sizeText(disk.volFree()),
                             settings::sizeText(disk.volSize()), settings::usedPercent(disk)));
  fact("Place", disk.shownPath());
  fact("Backup", backupText(disk));
  fact("At login", disk.createAtLogin() ? "created" : "not created");
  fact("Format", formatWords().of(disk.format()));
  fact("Index", indexWords().of(disk.mdIndexMode()));
  fact("Own contents", disk.doNotCalculateBaseSize() ? "left out" : "");
  fact("Post-command", settings::commandText(settings::postCommandOf(disk)));
  fact("Last error", lastErrorOf(disk));
  return text;
}

// An array of objects. Sizes are bytes.
void writeDisksJson(std::ostream& out, const std::vector<QVRamDiskPtr>& disks,
                    settings::DiskState& state) {
  JsonWriter json(out);
  json.beginArray();
  for (const auto& disk : disks) writeDisk(json, *disk, state.status(*disk));
  json.endArray();
}

void writeFacts(std::ostream& out, const std::vector<QVRamDiskPtr>& disks,
                settings::DiskState& state) {
  const char* between = "";
  for (const auto& disk : disks) {
    out << between << factsOf(*disk, state);
    between = "\n";
  }
}

using settings::KindChoice;

std::string wordOf(const KindChoice& kind) { return kindWords().of(kind.type); }

const char* availability(const KindChoice& kind) {
  if (kind.state == KindChoice::State::Available) return "available";
  return kind.state == KindChoice::State::Unusable ? "unusable" : "notInstalled";
}

// Why it cannot be used, or not at this moment.
std::optional<std::string> reasonOf(const KindChoice& kind) {
  switch (kind.state) {
    case KindChoice::State::NotInstalled:
      return "its application is not installed, or its version is not supported";
    case KindChoice::State::Unusable:
      return "its directory is missing or not writable, or the application's version is not "
             "suitable";
    default:
      return kind.running;
  }
}

void writeKindsTable(std::ostream& out) {
  Table table({"KIND", "STATE", "NAME", "SIZE", "DIRECTORY", "REMARK"});
  for (const auto& kind : settings::kindChoices()) {
    const bool missing = kind.state == KindChoice::State::NotInstalled;
    table.add({wordOf(kind), missing ? "not installed" : availability(kind),
               kind.infos.name.value_or("-"),
               kind.infos.size ? settings::sizeText(*kind.infos.size) : "-",
               kind.infos.mountDirectory.value_or("-"), reasonOf(kind).value_or("")});
  }
  out << table.text();
}

void writeKindsJson(std::ostream& out) {
  JsonWriter json(out);
  json.beginArray();
  for (const auto& kind : settings::kindChoices()) {
    json.beginObject();
    json.member("type", std::optional(wordOf(kind)));
    json.flag("available", kind.infos.status == 1);
    json.member("status", std::optional<std::string>(availability(kind)));
    json.member("name", kind.infos.name);
    json.member("mountDirectory", kind.infos.mountDirectory);
    json.key("size");
    kind.infos.size ? json.number(*kind.infos.size) : json.null();
    json.member("reason", reasonOf(kind));
    json.endObject();
  }
  json.endArray();
}

}  // namespace

int verbs::list(Context& context, const ListRequest& request) {
  auto registry = openRegistry(context);
  if (!registry) return registry.error();
  auto& out = context.streams.out;
  settings::DiskState state(registry->disks());
  if (request.json) {
    writeDisksJson(out, registry->disks(), state);
  } else if (request.names) {
    for (const auto& disk : registry->disks()) out << printable(nameOf(*disk)) << '\n';
  } else if (!registry->disks().empty()) {
    out << tableOf(registry->disks(), state);
  } else if (context.streams.outIsTerminal) {
    context.say("There are no disks. 'tarnvale add DIRECTORY' configures one.");
  }
  out.flush();
  return kDone;
}

int verbs::show(Context& context, const ShowRequest& request) {
  if (request.names.empty() != request.all)
    return context.refuse(kWrongUsage, "name the disks to show or give --all", {});
  auto registry = openRegistry(context);
  if (!registry) return registry.error();
  auto selection = selectDisks(registry->disks(), request.names);
  if (!selection) return context.refuse(selection.error());
  if (request.all) *selection = registry->disks();
  settings::DiskState state(registry->disks());
  if (request.json) {
    writeDisksJson(context.streams.out, *selection, state);
  } else {
    writeFacts(context.streams.out, *selection, state);
  }
  context.streams.out.flush();
  return kDone;
}

int verbs::kinds(Context& context, const KindsRequest& request) {
  request.json ? writeKindsJson(context.streams.out) : writeKindsTable(context.streams.out);
  context.streams.out.flush();
  return kDone;
}

}  // namespace cli
