#include <CLI/CLI.hpp>

#include "cli/Columns.h"
#include "cli/JsonWriter.h"
#include "cli/SizeText.h"
#include "cli/Words.h"
#include "cli/verbs/Verbs.h"
#include "kinds/QVRamDiskManager.h"

namespace cli::verbs {
namespace {

struct Kind {
  std::string word;
  QVCreationInfos infos;
  std::optional<std::string> reason;  // why it cannot be used, or not at this moment

  const char* availability() const {
    if (infos.status == 1) return "available";
    return infos.status == 0 ? "unusable" : "notInstalled";
  }
};

std::optional<std::string> reasonOf(QVRamDiskType type, std::int64_t status) {
  if (status < 0) return "its application is not installed, or its version is not supported";
  if (status == 0)
    return "its directory is missing or not writable, or the application's version is not suitable";
  QVRamDiskManager::Message running;
  return QVRamDiskManager::hasRunningAppForType(type, &running) ? running : std::nullopt;
}

std::vector<Kind> allKinds() {
  std::vector<Kind> kinds;
  for (const auto& [type, word] : kindWords().entries) {
    const auto infos = QVRamDiskManager::creationInfosOfRamDiskType(type, std::nullopt);
    if (infos) kinds.push_back({word, *infos, reasonOf(type, infos->status)});
  }
  return kinds;
}

void writeTable(std::ostream& out) {
  Table table({"KIND", "STATE", "NAME", "SIZE", "DIRECTORY", "REMARK"});
  for (const auto& kind : allKinds()) {
    const bool missing = kind.infos.status < 0;
    table.add({kind.word, missing ? "not installed" : kind.availability(),
               kind.infos.name.value_or("-"), kind.infos.size ? sizeText(*kind.infos.size) : "-",
               kind.infos.mountDirectory.value_or("-"), kind.reason.value_or("")});
  }
  out << table.text();
}

void writeJson(std::ostream& out) {
  JsonWriter json(out);
  json.beginArray();
  for (const auto& kind : allKinds()) {
    json.beginObject();
    json.member("type", std::optional(kind.word));
    json.flag("available", kind.infos.status == 1);
    json.member("status", std::optional<std::string>(kind.availability()));
    json.member("name", kind.infos.name);
    json.member("mountDirectory", kind.infos.mountDirectory);
    json.key("size");
    kind.infos.size ? json.number(*kind.infos.size) : json.null();
    json.member("reason", kind.reason);
    json.endObject();
  }
  json.endArray();
}

}  // namespace

void kinds(CLI::App& app, Invocation& invocation) {
  auto asJson = std::make_shared<bool>(false);
  auto* verb = app.add_subcommand("kinds", "Show the kinds of disks and which can be used here");
  verb->add_flag("--json", *asJson, "Write an array of objects");
  verb->callback([&invocation, asJson] {
    invocation.command = [asJson](Context& context) {
      *asJson ? writeJson(context.streams.out) : writeTable(context.streams.out);
      context.streams.out.flush();
      return static_cast<int>(kDone);
    };
  });
}

}  // namespace cli::verbs
