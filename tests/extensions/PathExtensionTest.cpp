#include "extensions/PathExtension.h"

#include "tests/support/Test.h"

namespace extensions {
namespace {

using Join = std::string (*)(std::string_view, std::string_view);

TEST(PathExtension, OfTwoTexts) {
  const struct {
    Join join;
    const char* a;
    const char* b;
    const char* result;
  } cases[] = {
      {appendingPathComponent, "/tmp", "a", "/tmp/a"},
      {appendingPathComponent, "/tmp/", "a/", "/tmp/a"},
      {appendingPathComponent, "/", "a", "/a"},
      {appendingPathComponent, "/", "/", "/"},
      {appendingPathComponent, "", "a", "a"},
      {appendingPathComponent, "", "/a", "/a"},
      {appendingPathComponent, "a", "", "a"},
      {appendingPathComponent, "//a//b", "//c//d//", "/a/b/c/d"},
      {appendingPathComponent, "/Users/x", "name (Tarnvale Backup Base)",
       "/Users/x/name (Tarnvale Backup Base)"},
      {appendingPathExtension, "/tmp/a.old", "b", "/tmp/a.old.b"},
      {appendingPathExtension, "/tmp/a.", "b", "/tmp/a..b"},
      {appendingPathExtension, "/tmp/", "b", "/tmp.b"},
      {appendingPathExtension, "/", "b", "/"},
      {abbreviatingWithTilde, "/home/a/x", "/home/a", "~/x"},
      {abbreviatingWithTilde, "/home/a/", "/home/a/", "~"},
      {abbreviatingWithTilde, "/home/ab", "/home/a", "/home/ab"},
      {abbreviatingWithTilde, "/x", "/", "/x"},
      {abbreviatingWithTilde, "/x", "", "/x"},
      {expandingTilde, "~/x/", "/home/a", "/home/a/x"},
      {expandingTilde, "~", "/home/a/", "/home/a"},
      {expandingTilde, "~b/x", "/home/a", "~b/x"},
      {expandingTilde, "/x/~", "/home/a", "/x/~"},
      {expandingTilde, "~/x", "", "~/x"},
  };
  for (const auto& each : cases)
    EXPECT_EQ(each.join(each.a, each.b), each.result) << each.a << " and " << each.b;
}

TEST(PathExtension, LastComponent) {
  const struct {
    const char* path;
    const char* last;
    const char* rest;
  } cases[] = {
      {"/tmp/a.b", "a.b", "/tmp"},
      {"/tmp/a/", "a", "/tmp"},
      {"/tmp", "tmp", "/"},
      {"/", "/", "/"},
      {"a", "a", ""},
      {"a/b///", "b", "a"},
      {"", "", ""},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(lastPathComponent(each.path), each.last) << each.path;
    EXPECT_EQ(deletingLastPathComponent(each.path), each.rest) << each.path;
  }
}

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
