#include "system/QVFunctions.h"
#include "tests/system/SystemTest.h"

namespace {

using Lines = std::vector<std::string>;
using namespace std::string_literals;

class LinesTest : public SystemTest {};

TEST_F(LinesTest, SplitsAtParagraphs) {
  const struct {
    std::string text;
    std::int64_t maxLines;
    std::uint64_t options;
    Lines lines;
  } cases[] = {{"", 0, 0, {}},
               {"a\n\nb", 0, 0, {"a", "", "b"}},
               {"a\u2028b\u0085c", 0, 0, {"a\u2028b\u0085c"}},
               {" \t a b\u00A0\n \n", 0, 1, {"a b"}},
               {" a \n", 0, 2, {" a "}},  // other bits mean nothing
               {"a\nb\nc", 1, 0, {"a", "b"}},
               {"a\nb\nc", -1, 0, {"a", "b", "c"}},
               {"\na\n\nb\n\nc", 1, 1, {"a", "b"}}};
  for (const auto& c : cases)
    EXPECT_EQ(QVFunctions::linesFromString(c.text, c.maxLines, c.options), c.lines) << c.text;
  EXPECT_EQ(QVFunctions::linesFromString(std::nullopt), std::nullopt);
}

TEST_F(LinesTest, CountsByTheWiderRule) {
  for (const auto& [text, count] : {std::pair("", 0U), {"a\r\nb", 2}, {"a\u2028b\u0085c", 3}})
    EXPECT_EQ(QVFunctions::linesCountOfString(text), count) << text;
}

TEST_F(LinesTest, ReadsFilesWhateverTheirEncoding) {
  const Lines expected = {" gr\u00FCn ", "", "z"};
  for (const auto& bytes :
       {" gr\xC3\xBCn \n\nz"s, "\xEF\xBB\xBF gr\xC3\xBCn \r\n\r\nz\n"s, " gr\xFCn \n\nz"s,
        "\xFF\xFE \0g\0r\0\xFC\0n\0 \0\n\0\n\0z\0"s, "\xFE\xFF\0 \0g\0r\0\xFC\0n\0 \0\n\0\n\0z"s}) {
    platform::Failure error = platform::SystemError{};
    EXPECT_EQ(QVFunctions::linesFromFilePath(scratch.file("text", bytes), &error), expected);
    EXPECT_FALSE(error);
  }
  platform::Failure error;
  EXPECT_EQ(QVFunctions::linesFromFilePath(scratch.path("missing"), &error), std::nullopt);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, ENOENT);
}

}  // namespace
