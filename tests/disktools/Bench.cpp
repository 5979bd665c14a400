#include "tests/disktools/Bench.h"

#include <plist/plist.h>
#include <sys/mman.h>

#include "extensions/PropertyList.h"

using disktools::Caller;
using extensions::PropertyList;

namespace {

fs::path programFolder() {
  return fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "libexec/tarnvale";
}

std::string contents(int file) {
  std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
  EXPECT_EQ(pread(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  close(file);
  return text;
}

[[noreturn]] void become(const std::string& path, const Words& words, Caller real, int out,
                         int err) {
  std::vector<char*> argv{const_cast<char*>(path.c_str())};
  for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  const bool changed =
      setresgid(real.gid, real.gid, real.gid) == 0 && setresuid(real.uid, 0, 0) == 0;
  if (changed) execv(path.c_str(), argv.data());
  _exit(126);
}

// Read by a library that did not write it.
PropertyList plistOf(const std::string& text) {
  plist_t root = nullptr;
  plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &root);
  char* bytes = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(root, &bytes, &size);
  const auto list = extensions::parsePropertyList(std::string_view(bytes, size));
  plist_free(root);
  free(bytes);
  EXPECT_TRUE(list) << text;
  return list.value().value_or(PropertyList());
}

std::string textOf(const PropertyList* text) {
  return text && text->string() ? *text->string() : "";
}

Image imageOf(const PropertyList& image) {
  const auto* entities = image.find("system-entities");
  const auto* all = entities ? entities->array() : nullptr;
  if (!all || all->size() != 1) return {"not of one entity", "", std::nullopt};
  const PropertyList& entity = all->front();
  Image found{textOf(image.find("image-path")), textOf(entity.find("dev-entry")), std::nullopt};
  if (const auto* point = entity.find("mount-point")) found.mountPoint = textOf(point);
  return found;
}

}  // namespace

Outcome tool(const std::string& applet, const Words& words, Caller caller) {
  std::ostringstream out;
  std::ostringstream err;
  const int status = disktools::run(applet, words, caller, out, err);
  return {status, out.str(), err.str()};
}

Outcome program(const std::string& applet, const Words& words, Caller real) {
  const int out = memfd_create("out", 0);
  const int err = memfd_create("err", 0);
  const pid_t child = fork();
  if (child == 0) become((programFolder() / applet).string(), words, real, out, err);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(out), contents(err)};
}

bool isRefused(const Outcome& outcome, const std::string& told) {
  return outcome.status == 1 && outcome.err.find(told) != std::string::npos;
}

bool isRealRoot() { return disktools::AsCaller(kUser).holds(); }

Image attachedIn(const std::string& text) { return imageOf(plistOf(text)); }

std::vector<Image> images(Caller caller) {
  const Outcome outcome = tool("hdiutil", {"info", "-plist"}, caller);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  const auto root = plistOf(outcome.out);
  const auto* list = root.find("images");
  const auto* all = list ? list->array() : nullptr;
  std::vector<Image> found;
  EXPECT_NE(all, nullptr) << outcome.out;
  for (const auto& image : all ? *all : PropertyList::Array()) found.push_back(imageOf(image));
  return found;
}

void Disks::TearDown() {
  for (const Image& image : images()) {
    if (image.mountPoint) tool("umount", {"-f", *image.mountPoint});
    const Outcome outcome = tool("hdiutil", {"detach", image.node});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }
}

std::string Disks::disk(int megabytes, Caller caller, const std::string& backing) {
  const std::string url = "ram://" + std::to_string(megabytes * 2048);
  const Outcome made = tool("hdiutil", {"attach", "-nomount", "-backing", backing, url}, caller);
  EXPECT_EQ(made.status, 0) << made.err;
  std::string node = made.out.substr(0, made.out.find('\n'));
  const Outcome formatted = tool("newfs_hfs", {"-v", "Test", node}, caller);
  EXPECT_EQ(formatted.status, 0) << formatted.err;
  return node;
}

Outcome Disks::mount(const std::string& node, const std::string& path, Caller caller) {
  return tool("mount", {"-o", "noatime", "-o", "nobrowse", "-t", "hfs", node, path}, caller);
}

std::string Disks::mounted(const std::string& node, const std::string& name) const {
  std::string path = scratch.directory(name);
  const Outcome done = mount(node, path);
  EXPECT_EQ(done.status, 0) << done.err;
  return path;
}

std::string Disks::directoryOf(Caller owner, const std::string& name) const {
  fs::permissions(scratch.path(), fs::perms::others_exec, fs::perm_options::add);
  std::string path = scratch.directory(name);
  EXPECT_EQ(chown(path.c_str(), owner.uid, owner.gid), 0);
  return path;
}
