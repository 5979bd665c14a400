#include <gtest/gtest.h>

#include <chrono>
#include <sstream>

#include "cli/ActionDisplay.h"
#include "cli/Output.h"
#include "tests/cli/Shell.h"

namespace {

using namespace std::chrono_literals;

// A screen line with a clock that stands until it is moved.
class Screen : public testing::Test {
 protected:
  static std::string line(const std::string& text) { return "\r" + text + "\x1b[K"; }
  // What was written since the last time.
  std::string written() {
    const auto text = out_.str();
    out_.str("");
    return text;
  }

  int width_ = 70;
  std::chrono::steady_clock::time_point now_{1s};
  std::ostringstream out_;
  cli::LiveDisplay display_{out_, [this] { return width_; }, [this] { return now_; }};
  Shell shell_;  // its services turn bytes into texts

  void SetUp() override { shell_.run({"list"}); }
};

TEST_F(Screen, DrawsAStageOnceAndProgressAtMostTwentyTimesASecond) {
  display_.stage("Cache", "Copying");
  EXPECT_EQ(written(), line("Cache: Copying"));
  display_.stage("Cache", "Copying");
  EXPECT_EQ(written(), "") << "nothing new, nothing drawn";

  display_.progress({50'000'000, 12, 100'000'000});
  EXPECT_EQ(written(), line("Cache: Copying  50 % [#####-----] 50 MB of 100 MB, 12 items"));
  now_ += 49ms;
  display_.progress({60'000'000, 13, 100'000'000});
  EXPECT_EQ(written(), "") << "too soon";
  now_ += 1ms;
  display_.progress({150'000'000, 14, 100'000'000});
  EXPECT_NE(written().find("100 % [##########] 150 MB of 100 MB, 14 items"), std::string::npos)
      << "more than was known at the start is still 100 %";

  display_.stage("Cache", "Mounting");
  EXPECT_EQ(written(), line("Cache: Mounting")) << "a stage does not wait";
  display_.progress({5'000'000, 3, 0});
  EXPECT_EQ(written(), line("Cache: Mounting 5 MB, 3 items")) << "nor do its first numbers";
  display_.end();
  EXPECT_EQ(written(), line(""));
  display_.end();
  EXPECT_EQ(written(), "");
}

TEST_F(Screen, KeepsWithinTheTerminalAndOutOfItsControl) {
  width_ = 12;
  display_.stage("日本語キャッシュ", "Copying");
  EXPECT_EQ(written(), line("日本語キャ…"));
  display_.progress({1, 1, 2});
  EXPECT_EQ(written(), "") << "no bar where there is no room, and the line is the same";
  width_ = 60;
  display_.stage("Cache", "Copying the folder into memory");
  written();
  display_.progress({1'000'000, 1, 2'000'000});
  EXPECT_EQ(written(), line("Cache: Copying the…  50 % [####----] 1 MB of 2 MB"))
      << "the items give way first, then the stage";
  display_.stage("a\x1b[2Jb\n", "c");
  EXPECT_EQ(written(), line("a\uFFFD[2Jb\uFFFD: c"));
}

TEST(JsonWriter, EscapesAndNests) {
  std::ostringstream out;
  cli::JsonWriter json(out);
  json.beginArray();
  json.beginObject();
  json.member("quoted \"key\"", std::optional<std::string>("a\\b\t\n\x01\x1f\x7fé"));
  json.member("broken", std::optional<std::string>("x\xff\xc3y"));
  json.member("none", std::nullopt);
  json.member("most", std::uint64_t{18'446'744'073'709'551'615U});
  json.key("empty");
  json.beginArray();
  json.endArray();
  json.flag("yes", true);
  json.endObject();
  json.beginObject();
  json.endObject();
  json.endArray();
  EXPECT_EQ(out.str(), R"([
  {
    "quoted \"key\"": "a\\b\t\n\u0001\u001f)"
                       "\x7f"
                       R"(é",
    "broken": "x)"
                       "\uFFFD\uFFFDy"
                       R"(",
    "none": null,
    "most": 18446744073709551615,
    "empty": [],
    "yes": true
  },
  {}
]
)");
}

TEST(Table, AlignsByCellsNotBytes) {
  cli::Table table({"NAME", "X"});
  table.add({"é日", "1"});
  table.add({"plain", ""});
  EXPECT_EQ(table.text(), "NAME   X\né日    1\nplain\n");
}

}  // namespace
