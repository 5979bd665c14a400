#include <gtest/gtest.h>

#include "extensions/FileUrl.h"

namespace extensions {
namespace {

TEST(FileUrl, CarriesEveryPath) {
  EXPECT_EQ(fileUrl("/a b/ü#?%.txt"), "file:///a%20b/%C3%BC%23%3F%25.txt");
  EXPECT_EQ(fileUrl("/a-b_c.d~e!$&'()*+,;=:@"), "file:///a-b_c.d~e!$&'()*+,;=:@");
  std::string every = "/";
  for (int byte = 1; byte < 256; ++byte) every += static_cast<char>(byte);
  EXPECT_EQ(pathOfFileUrl(fileUrl(every)), every);
}

TEST(FileUrl, IsReadWithCare) {
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"file:///", "/"},
      {"file:///a%20b", "/a b"},
      {"file:///a%2fb%2F", "/a/b/"},
      {"file://localhost/a", "/a"},
      {"file://localhosts/a", std::nullopt},
      {"file://elsewhere/a", std::nullopt},
      {"file://", std::nullopt},
      {"file:/a", std::nullopt},
      {"http:///a", std::nullopt},
      {"/a", std::nullopt},
      {"", std::nullopt},
      {"file:///a%", std::nullopt},
      {"file:///a%4", std::nullopt},
      {"file:///a%4g", std::nullopt},
      {"file:///a%-1", std::nullopt},
      {"file:///a%00b", std::nullopt}};
  for (const auto& [url, path] : cases) EXPECT_EQ(pathOfFileUrl(url), path) << url;
}

}  // namespace
}  // namespace extensions
