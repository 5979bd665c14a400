#include "settings/TypedText.h"

#include <gtest/gtest.h>

TEST(SizeText, ReadsEveryForm) {
  const std::pair<const char*, std::uint64_t> cases[] = {
      {"512M", 512'000'000},
      {"1.5G", 1'500'000'000},
      {"0.1T", 100'000'000'000},
      {"2GiB", 2'147'483'648},
      {"1.5mib", 1'572'864},
      {"800MB", 800'000'000},
      {"800mb", 800'000'000},
      {"3k", 3000},
      {"1", 1},
      {"1000000001", 1'000'000'001},
      {"12B", 12},
      {"0.0000000015G", 1},
      {"007K", 7000},
      {"9223372036854775807", 9'223'372'036'854'775'807U},
      {"8388607TiB", 8388607ULL << 40U}};
  for (const auto& [text, bytes] : cases) EXPECT_EQ(settings::bytesFromText(text), bytes) << text;
}

TEST(SizeText, RefusesWhatIsNoSize) {
  for (const char* text : {"",           "0",
                           "0.0G",       "0.0000000001G",
                           "-1",         "+1G",
                           "10E",        "10P",
                           "1.G",        ".5G",
                           "1,5G",       "1.5.5G",
                           "G",          "1GG",
                           "1Gib ",      "1 G",
                           "1iB",        "1BB",
                           "0x10",       "1e9",
                           "nan",        "inf",
                           "512M!",      "9223372036854775808",
                           "8388608TiB", "99999999999999999999999G"})
    EXPECT_EQ(settings::bytesFromText(text), std::nullopt) << text;
}
