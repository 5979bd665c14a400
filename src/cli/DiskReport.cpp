#include "cli/DiskReport.h"

#include <fmt/format.h>

#include "cli/Columns.h"
#include "cli/DiskNames.h"
#include "cli/Words.h"
#include "extensions/ErrorText.h"
#include "settings/SizeText.h"

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

std::string commandText(const QVRamDisk& disk) {
  std::string text = disk.postCmd().value_or("");
  for (const auto& argument : disk.postCmdArgs().value_or(std::vector<std::string>()))
    text += argument.find_first_of(" \"'") == std::string::npos && !argument.empty()
                ? " " + argument
                : fmt::format(" \"{}\"", argument);
  return text;
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

}  // namespace

std::string tableOf(const std::vector<QVRamDiskPtr>& disks, settings::DiskState& state) {
  Table table({"NAME", "KIND", "SIZE", "STATUS", "USED", "MOUNTED ON"});
  for (const auto& disk : disks) {
    const auto status = state.status(*disk);
    const bool mounted = status == QVRamDiskStatus_mounted;
    table.add({nameOf(*disk), kindWords().of(disk->type()), settings::sizeText(disk->size()),
               statusText(status),
               mounted ? fmt::format("{} %", settings::usedPercent(*disk)) : "-",
               mountPointOf(*disk, status).value_or("-")});
  }
  return table.text();
}

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
  fact("Place", settings::mountPathOf(disk));
  fact("Backup", backupText(disk));
  fact("At login", disk.createAtLogin() ? "created" : "not created");
  fact("Format", formatWords().of(disk.format()));
  fact("Index", indexWords().of(disk.mdIndexMode()));
  fact("Own contents", disk.doNotCalculateBaseSize() ? "left out" : "");
  fact("Post-command", commandText(disk));
  fact("Last error", lastErrorOf(disk));
  return text;
}

void writeJson(std::ostream& out, const std::vector<QVRamDiskPtr>& disks,
               settings::DiskState& state) {
  JsonWriter json(out);
  json.beginArray();
  for (const auto& disk : disks) writeDisk(json, *disk, state.status(*disk));
  json.endArray();
}

}  // namespace cli
