#include <gtest/gtest.h>

#include <functional>
#include <regex>

#include "core/QVError.h"
#include "core/QVHelpers.h"
#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "core/Trouble.h"
#include "tests/support/DoubleServices.h"

namespace {

class CoreTest : public testing::Test {
 protected:
  CoreTest() { platform::install(world.services()); }
  std::string onlyEntry() const {
    const auto entries = world.log->entries();
    return entries.size() == 1 ? entries.front() : "entries: " + std::to_string(entries.size());
  }
  DoubleServices world{"/nowhere"};
};

struct Logger {
  void recount(int number) { QVLogError("Logger", "counted:{}", number); }
};

TEST_F(CoreTest, LinesNameTheirMethodLineAndObject) {
  Logger().recount(7);
  EXPECT_TRUE(std::regex_match(onlyEntry(), std::regex("ERROR recount:[0-9]+ Logger counted:7")))
      << onlyEntry();
}

// What the system's log is told is held against what the entry says of itself.
TEST_F(CoreTest, EachEntryReachesTheSystemLogAtItsOwnSeverity) {
  const struct {
    std::function<void()> log;
    std::int64_t severity;
    std::string label;
  } rows[] = {{[] { QVLog::logDiag("a"); }, 0, "DIAG a"},
              {[] { QVLog::logInfo("a"); }, 2, "INFO a"},
              {[] { QVLog::logWarning("a"); }, 3, "WARNING a"},
              {[] { QVLog::logError("a"); }, 4, "ERROR a"},
              {[] { QVLog::logCriticalException("a"); }, 5, "CRITIRAL EXCEPTION a"},
              {[] { QVLog::logWithSeverity(1, "a"); }, 1, "DEBUG a"},
              {[] { QVLog::logWithSeverity(6, "a"); }, 6, "(null) a"},
              {[] { QVLogInfo("Thing", "a"); }, 2, "INFO "},
              {[] { QVLogWarning("Thing", "a"); }, 3, "WARNING "},
              {[] { QVLogError("Thing", "a"); }, 4, "ERROR "},
              {[] { QVLogFunctionError("function", "a"); }, 4, "ERROR function:"},
              {[] { QVLogCriticalException("Thing", "a"); }, 5, "CRITIRAL EXCEPTION "},
              {[] { QVError::errorWithMessage("m", "r"); }, 4, "ERROR "}};
  for (const auto& row : rows) {
    world.log->clear();
    row.log();
    EXPECT_TRUE(onlyEntry().starts_with(row.label)) << row.label << " of " << onlyEntry();
    EXPECT_EQ(world.log->severities(), std::vector{row.severity}) << row.label;
  }
  world.log->clear();
  QVLog::logDebug("never");
  EXPECT_TRUE(world.log->entries().empty());
}

TEST_F(CoreTest, AnErrorObjectFollowsInBraces) {
  const auto error = QVError::errorWithMessage("m", "r");
  world.log->clear();
  QVLog::logWithSeverity(4, "text", error.get());
  EXPECT_EQ(onlyEntry(), "ERROR text\n{" + error->description() + "\n}");
}

TEST_F(CoreTest, CriticalExceptionsAreLoggedFilledAndShownUnfilled) {
  QVLogCriticalException("Thing", "running:{}", 3);
  EXPECT_EQ(world.log->count("CRITIRAL EXCEPTION"), 1U);
  EXPECT_EQ(world.log->count("running:3"), 1U);
  ASSERT_EQ(world.alerts->shown.size(), 1U);
  const auto& alert = world.alerts->shown.front();
  EXPECT_EQ(alert.title,
            "An critical error occurred with tarnvale-test.\nPlease, contact Support.");
  EXPECT_TRUE(std::regex_match(alert.text, std::regex("Thing TestBody:[0-9]+\nrunning:\\{\\}")))
      << alert.text;
  EXPECT_EQ(alert.buttons, std::vector<std::string>{"Ok"});
}

TEST_F(CoreTest, ErrorsDescribeThemselvesWithInfosAndCauses) {
  const auto cause = QVError::errorWithMessage("inner", "why", std::string("tool said no"));
  const auto error = QVError::errorWithMessage("outer", "tag", cause);
  EXPECT_EQ(error->errorCount(), cause->errorCount() + 1);
  EXPECT_EQ(world.log->count("message:outer"), 1U);
  error->addInfo("5", "first");
  error->addInfo(std::nullopt, "second");
  const std::string text = error->description();
  EXPECT_NE(text.find(" message:outer reason:tag\n\tInfos[first]:{5\n}\n\tInfos[second]:{<null>\n}"
                      "\n\tDepends:<QVError "),
            std::string::npos)
      << text;
  EXPECT_TRUE(text.ends_with("message:inner reason:why\n\tDepends:tool said no>>")) << text;
}

TEST_F(CoreTest, InitialErrorsAreTheFarEndOfTheChain) {
  const platform::SystemError system{"POSIX", 2, "x: No such file or directory"};
  const auto above = [](const auto& cause) {
    return QVError::errorWithMessage("above", "", cause);
  };
  const auto leaf = QVError::errorWithMessage("leaf", "");
  const std::pair<QVErrorPtr, std::optional<std::string>> rows[] = {
      {leaf, std::nullopt},
      {above(system), std::nullopt},
      {above(std::string("said")), std::nullopt},
      {above(leaf), "leaf"},
      {above(above(leaf)), "leaf"},
      {above(above(system)), system.text},
      {above(above(above(std::string("said")))), "said"}};
  for (const auto& [error, message] : rows)
    EXPECT_EQ(error->initialErrorMessage(), message) << error->description();
}

TEST_F(CoreTest, PresentingEndsBothTextsWithAPoint) {
  const auto error =
      QVError::errorWithMessage("No disk", "", QVError::errorWithMessage("Full.", ""));
  error->presentWIthTitle(std::nullopt);
  error->presentWIthTitle("Trouble");
  QVError::errorWithMessage("Alone", "", platform::SystemError{})->presentWIthTitle(std::nullopt);
  ASSERT_EQ(world.alerts->shown.size(), 3U);
  EXPECT_EQ(world.alerts->shown[0].title + "|" + world.alerts->shown[0].text, "No disk.|Full.");
  EXPECT_EQ(world.alerts->shown[1].title + "|" + world.alerts->shown[1].text, "Trouble.|No disk.");
  EXPECT_EQ(world.alerts->shown[2].title + "|" + world.alerts->shown[2].text, "Alone.|");
}

TEST_F(CoreTest, HelpersTakeAbsentValues) {
  std::optional<std::string> slot;
  EXPECT_FALSE(QV_ReturnNoWithMessage("unheard", nullptr));
  EXPECT_FALSE(QV_ReturnNoWithMessage("no", &slot));
  EXPECT_EQ(slot, "no");
  EXPECT_EQ(QV_ReturnIntegerWithMessage(-3, "three", &slot), -3);
  EXPECT_EQ(slot, "three");
  EXPECT_TRUE(QV_IsEqualNSString(std::nullopt, std::nullopt));
  EXPECT_FALSE(QV_IsEqualNSString(std::nullopt, ""));
  EXPECT_TRUE(QV_IsEqualNSPoint({1, 1}, {1.5, 0.5}, 0.5));
  EXPECT_FALSE(QV_IsEqualNSPoint({1, 1}, {1.6, 1}, 0.5));
  EXPECT_FALSE(QV_IsEqualNSPoint({1, 1}, {1, 1.0001}, 0));
  EXPECT_EQ(QV_SringFromRect({1, 2.5, 3, 4}), "{x:1.000000 y:2.500000 w:3.000000 h:4.000000}");
}

TEST_F(CoreTest, ScrambledTextsComeBack) {
  const auto restored = [](std::string_view text) {
    return QV_StringDelacement({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  };
  EXPECT_EQ(restored("=8GbsVGS"), "Hello");  // "SGVsbG8=" reversed
  EXPECT_EQ(restored("==QY"), "a");          // "YQ=="
  EXPECT_EQ(restored(""), std::nullopt);
  EXPECT_EQ(restored("!8GbsVGS"), std::nullopt);
  EXPECT_EQ(restored("8GbsVGS"), std::nullopt);  // no multiple of four
  EXPECT_EQ(restored("==w/"), std::nullopt);     // "/w==", the byte 255
}

TEST_F(CoreTest, LocalisedFormatsAreFilledInOrderAndOnce) {
  world.bundle->texts["from %@ to %@"] = "%@ -> %@";
  EXPECT_EQ(QVLocalizedFormat("from %@ to %@", {"%@", "b"}), "%@ -> b");
  EXPECT_EQ(QVLocalizedFormat("only %@", {"a", "b"}), "only a");
}

// A trouble without a row would be refused in silence, a value that is missing shows as its
// placeholder.
TEST_F(CoreTest, EveryTroubleIsSaidWithAllItsFacts) {
  const TroubleFacts facts{"subject", "path", "text"};
  for (int number = 1; number <= static_cast<int>(Trouble::BaseLeftAside); ++number) {
    const auto trouble = static_cast<Trouble>(number);
    const auto command = commandSentence(trouble, facts);
    const auto window = whatHappened(trouble, facts) + whatHelps(trouble, facts);
    EXPECT_FALSE(window.empty() || (command.what + command.todo).empty()) << number;
    for (const auto& said : {window, command.what, command.todo})
      EXPECT_EQ(said.find("%@"), std::string::npos) << said;
  }
}

}  // namespace
