#include <cctype>
#include <ctime>
#include <limits>

#include "system/QVFunctions.h"
#include "system/QVRamDiskFunctions.h"
#include "tests/system/SystemTest.h"

namespace {

constexpr std::int64_t kKiB = 1024;
constexpr std::int64_t kMiB = 1024 * kKiB;
constexpr std::int64_t kGiB = 1024 * kMiB;
constexpr std::int64_t kTiB = 1024 * kGiB;

using Lines = std::vector<std::string>;
using namespace std::string_literals;

class TextsTest : public SystemTest {};

TEST_F(TextsTest, ShortensByteCountsByThresholds) {
  using F = QVRamDiskFunctions;
  const struct {
    std::int64_t bytes;
    const char* decimal;
    const char* binary;
  } cases[] = {{0, "Zero Byte", "Zero Byte"},
               {1, "One Byte", "One Byte"},
               {1000, "1 KB", "One Byte"},
               {1024, "1 KB", "1 KB"},
               {999'999, "1000 KB", "977 KB"},
               {1'000'000, "1 MB", "977 KB"},
               {kMiB - 1, "1 MB", "1024 KB"},
               {999'999'999, "1000 MB", "954 MB"},
               {4'500'000'000, "4.50 GB", "4.19 GB"},
               {kGiB, "1.07 GB", "1 GB"},
               {1'610'612'736, "1.61 GB", "1.50 GB"},
               {1'000'000'000'000, "1 TB", "931.32 GB"},
               {kTiB, "1.10 TB", "1 TB"},
               {2000 * kTiB, "2199.02 TB", "2000 TB"}};
  for (const auto& c : cases) {
    EXPECT_EQ(F::stringFromBytesWithBin1000Style(c.bytes), c.decimal) << c.bytes;
    EXPECT_EQ(F::stringFromBytesWithBin1024Style(c.bytes), c.binary) << c.bytes;
  }
  EXPECT_EQ(F::stringFromBytesWithBin1000Style(-1), std::nullopt);
  EXPECT_EQ(F::stringFromBytesWithBin1024Style(-1), std::nullopt);
}

TEST_F(TextsTest, TranslatesByteCountsOnce) {
  using F = QVRamDiskFunctions;
  bundle->texts = {{"%.2f GB", "%.2f Go"}, {"%.0f MB", "%s %d Mo"}, {"Zero Byte", "Vide"}};
  EXPECT_EQ(F::stringFromBytesWithBin1024Style(2 * kGiB), "2 Go");
  EXPECT_EQ(F::stringFromBytesWithBin1024Style(2 * kMiB), "2 MB") << "no format for a number";
  bundle->texts.clear();
  EXPECT_EQ(F::stringFromBytesWithBin1024Style(kGiB + kGiB / 2), "1.50 Go");
  EXPECT_EQ(F::stringFromBytesWithBin1024Style(0), "Vide");
  EXPECT_EQ(F::stringFromBytesWithBin1000Style(0), "Zero Byte") << "each keeps its own";
}

TEST_F(TextsTest, WritesByteCountsInTheBinaryStyle) {
  const std::pair<std::int64_t, std::optional<std::string>> cases[] = {
      {-1, std::nullopt},
      {0, "Zero KB"},
      {1, "1 byte"},
      {1023, "1,023 bytes"},
      {1024, "1 KB"},
      {1535, "1 KB"},
      {1536, "2 KB"},
      {kMiB - 513, "1,023 KB"},
      {kMiB - 512, "1 MB"},
      {kMiB + kMiB / 20, "1 MB"},
      {kMiB + kMiB / 20 + 1, "1.1 MB"},
      {1023 * kMiB + 9 * kMiB / 10, "1,023.9 MB"},
      {kGiB + kGiB / 4, "1.25 GB"},
      {kGiB + kGiB / 20, "1.05 GB"},
      {kTiB + kTiB / 8, "1.13 TB"},
      {3 * 1024 * kTiB, "3 PB"},
      {std::numeric_limits<std::int64_t>::max(), "8 EB"}};
  for (const auto& [bytes, text] : cases)
    EXPECT_EQ(QVFunctions::stringFromBytesWithBin1024Style(bytes), text) << bytes;
}

TEST_F(TextsTest, KnowsTheRunningProgram) {
  bundle->infos = {{"CFBundleShortVersionString", "1.2"}, {"CFBundleVersion", "345"}};
  EXPECT_EQ(QVFunctions::appName(), "tarnvale-test");
  EXPECT_EQ(QVFunctions::appVersion(), "1.2");
  EXPECT_EQ(QVFunctions::appBuild(), "345");
  bundle->infos.clear();
  EXPECT_EQ(QVFunctions::appVersion(), "1.2") << "it is kept";

  EXPECT_FALSE(QVFunctions::isSandboxedApp());
  setenv("APP_SANDBOX_CONTAINER_ID", "", 1);
  EXPECT_FALSE(QVFunctions::isSandboxedApp()) << "it is kept";
  bundle = std::make_shared<doubles::FakeBundle>();
  installServices();
  EXPECT_TRUE(QVFunctions::isSandboxedApp());
  unsetenv("APP_SANDBOX_CONTAINER_ID");
}

TEST_F(TextsTest, KnowsWhenItWasBuilt) {
  const auto built = QVFunctions::dateCompiled();
  ASSERT_TRUE(built);
  constexpr double kDay = 86400;  // builds on another clock or in another time zone
  EXPECT_GT(*built, 1'600'000'000);
  EXPECT_LT(*built, static_cast<double>(std::time(nullptr)) + kDay);
}

TEST_F(TextsTest, MakesNewIdentifiers) {
  const auto first = QVFunctions::UUIDString().value_or("");
  std::string form = first;
  for (char& c : form) c = isdigit(c) || (c >= 'A' && c <= 'F') ? 'X' : c;
  EXPECT_EQ(form, "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX");
  EXPECT_EQ(first[14], '4') << "of the random sort";
  EXPECT_NE(QVFunctions::UUIDString(), first);
}

TEST_F(TextsTest, SplitsLinesAtParagraphs) {
  const struct {
    std::string text;
    std::int64_t maxLines;
    std::uint64_t options;
    Lines lines;
  } cases[] = {{"", 0, 0, {}},
               {"a\u2028b\u0085c", 0, 0, {"a\u2028b\u0085c"}},
               {" \t a b\u00A0\n \n", 0, 1, {"a b"}},
               {"\n a \n", 0, 2, {"", " a "}},  // other bits mean nothing
               {"a\nb\nc", 1, 0, {"a", "b"}},
               {"a\nb\nc", -1, 0, {"a", "b", "c"}},
               {"\na\n\nb\n\nc", 1, 1, {"a", "b"}}};
  for (const auto& c : cases)
    EXPECT_EQ(QVFunctions::linesFromString(c.text, c.maxLines, c.options), c.lines) << c.text;
  EXPECT_EQ(QVFunctions::linesFromString(std::nullopt), std::nullopt);
  for (const auto& [text, count] : {std::pair("", 0U), {"a\r\nb", 2}, {"a\u2028b\u0085c", 3}})
    EXPECT_EQ(QVFunctions::linesCountOfString(text), count) << text;
}

TEST_F(TextsTest, ReadsLinesWhateverTheirEncoding) {
  const Lines expected = {" gr\u00FCn ", "", "z"};
  for (const auto& bytes :
       {" gr\xC3\xBCn \n\nz"s, "\xEF\xBB\xBF gr\xC3\xBCn \r\n\r\nz\n"s, " gr\xFCn \n\nz"s,
        "\xFF\xFE \0g\0r\0\xFC\0n\0 \0\n\0\n\0z\0"s, "\xFE\xFF\0 \0g\0r\0\xFC\0n\0 \0\n\0\n\0z"s}) {
    std::optional<platform::SystemError> error = platform::SystemError{};
    EXPECT_EQ(QVFunctions::linesFromFilePath(scratch.file("text", bytes), &error), expected);
    EXPECT_FALSE(error);
  }
  std::optional<platform::SystemError> error;
  EXPECT_EQ(QVFunctions::linesFromFilePath(scratch.path("missing"), &error), std::nullopt);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, ENOENT);
}

}  // namespace
