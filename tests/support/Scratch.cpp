#include "tests/support/Scratch.h"

#include <sys/mount.h>

#include <cstdlib>

#include "leaf/MountTable.h"

namespace fs = std::filesystem;

namespace {

std::string made() {
  std::string pattern = (fs::temp_directory_path() / "tarnvale-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) std::abort();
  return pattern;
}

void unmountIn(const std::string& folder) {
  const std::string text = readMountTable().value_or("");
  for (const auto& line : visibleFirst(parseMountTable(text)))
    if (const auto path = withoutMountEscapes(line.mountedOn);
        (path + "/").starts_with(folder + "/"))
      umount2(path.c_str(), MNT_DETACH);
}

}  // namespace

Scratch::Scratch() : path_(made()) {}

Scratch::~Scratch() {
  unmountIn(path_);
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string Scratch::file(std::string_view relative, std::string_view contents) const {
  std::string full = path(relative);
  fs::create_directories(fs::path(full).parent_path());
  std::ofstream(full, std::ios::binary) << contents;
  return full;
}

std::string Scratch::executable(std::string_view relative, std::string_view script) const {
  std::string full = file(relative, script);
  fs::permissions(full, fs::perms::owner_all);
  return full;
}

std::string Scratch::directory(std::string_view relative) const {
  fs::create_directories(path(relative));
  return path(relative);
}

std::string readFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}
