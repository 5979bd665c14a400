#include "platform/posix/Environment.h"
#include "platform/posix/PosixBundle.h"
#include "tests/resources/Tables.h"

namespace {

// The session's variables, and the text that a program in it shows for "Eject".
struct Session {
  std::map<std::string, std::string> variables;
  std::string text;
};

platform::PosixBundle bundleIn(const Session& session) {
  const auto environment = [&](const std::string& name) -> std::optional<std::string> {
    const auto found = session.variables.find(name);
    if (found == session.variables.end() || found->second.empty()) return std::nullopt;
    return found->second;
  };
  return platform::PosixBundle(
      {"com.example.x", "/opt/x/bin/x", {}, kResources, platform::preferredLanguages(environment)});
}

TEST(Language, FollowsTheSession) {
  const std::string english = "Eject";
  const std::string german = "Auswerfen";
  const std::string french = "Éjecter";
  const std::string spanish = "Expulsar";
  const std::string japanese = "取り出す";
  const Session sessions[] = {
      {{}, english},
      {{{"LANG", "en_GB.UTF-8"}}, english},
      {{{"LANG", "de_AT"}}, german},
      {{{"LANG", "fr_CA.UTF-8"}}, french},
      {{{"LANG", "es_419"}}, spanish},
      {{{"LANG", "ja_JP.eucJP"}}, japanese},
      {{{"LANG", "de_DE@euro"}}, german},
      {{{"LANG", "sv_SE.UTF-8"}}, english},
      {{{"LANG", "de_DE.UTF-8"}, {"LC_MESSAGES", "fr_FR.UTF-8"}}, french},
      {{{"LANG", "de"}, {"LC_MESSAGES", "fr"}, {"LC_ALL", "ja_JP.UTF-8"}}, japanese},
      {{{"LANG", "de_DE.UTF-8"}, {"LC_ALL", "C"}}, english},
      {{{"LANG", "en_US.UTF-8"}, {"LANGUAGE", "sv:es_MX:de"}}, spanish},
      {{{"LANG", "de_DE.UTF-8"}, {"LANGUAGE", "en:de"}}, english},
      {{{"LANG", "C.UTF-8"}, {"LANGUAGE", "de"}}, english}};
  for (const auto& session : sessions) {
    EXPECT_EQ(bundleIn(session).localizedString("Eject", "QVRamDiskLocalizable"), session.text)
        << testing::PrintToString(session.variables);
  }
}

}  // namespace
