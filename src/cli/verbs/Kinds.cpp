#include <CLI/CLI.hpp>

#include "cli/Columns.h"
#include "cli/JsonWriter.h"
#include "cli/Words.h"
#include "cli/verbs/Verbs.h"
#include "settings/KindChoices.h"
#include "settings/SizeText.h"

namespace cli::verbs {
namespace {

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

void writeTable(std::ostream& out) {
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

void kinds(CLI::App& app, Invocation& invocation) {
  auto asJson = std::make_shared<bool>(false);
  auto* verb = app.add_subcommand("kinds", "Show the kinds of disks and which can be used here");
  verb->add_flag("--json", *asJson, "Write an array of objects");
  verb->callback([&invocation, asJson] {
    invocation.command = [asJson](Context& context) {
      *asJson ? writeKindsJson(context.streams.out) : writeTable(context.streams.out);
      context.streams.out.flush();
      return static_cast<int>(kDone);
    };
  });
}

}  // namespace cli::verbs
