#include "tests/system/CopierTest.h"

#include <sys/socket.h>
#include <sys/sysmacros.h>
#include <sys/un.h>

namespace {

using Lines = std::vector<std::string>;

std::string letters(std::size_t count) {
  std::string text;
  for (int i = 0; text.size() < count; ++i)
    text += "some words and the number " + std::to_string(i);
  return text.substr(0, count);
}

class KeepsTest : public CopierTest {
 protected:
  void makeFiles() const {
    for (const std::size_t size :
         {0U, 1U, 4096U, 32768U, 32769U, 262144U, 262145U, (16U << 20U) + 5U})
      file("sizes/" + std::to_string(size), letters(size));
    for (const mode_t mode : {0U, 0200U, 0444U, 0600U, 0640U, 0777U, 02711U, 04755U, 06755U})
      chmod(file("modes/" + std::to_string(mode)).c_str(), mode);
    file("names/" + std::string(255, 'n'));
    file("names/\xFF\xFE not \xC3 text");
    file("names/new\nline");
    lchown(file("given").c_str(), 1234, 5678);
    lchown(file("given to a group").c_str(), getuid(), 5678);
  }

  // Stretches of data in a file that is longer than they are.
  void sparse(const std::string& name, off_t size, const std::vector<off_t>& data) const {
    const int opened = open(file(name, "").c_str(), O_WRONLY | O_CLOEXEC);
    for (const off_t at : data) pwrite(opened, letters(50000).data(), 50000, at);
    ASSERT_EQ(ftruncate(opened, size), 0);
    close(opened);
    aged(inFrom(name));
  }

  void makeHoles() const {
    sparse("holes/all", 9 << 20, {});
    sparse("holes/first", 900000, {800000});
    sparse("holes/last", 900000, {0});
    sparse("holes/several", 40 << 20, {0, 1 << 20, 30 << 20});
    sparse("holes/small", 20000, {});
  }

  void makeAttributes() const {
    const auto set = [](const std::string& path, const std::string& name,
                        const std::string& value) {
      ASSERT_EQ(lsetxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0), 0) << name;
    };
    const auto many = file("attributes/many");
    for (int i = 0; i < 40; ++i) set(many, "user.some.long.name." + std::to_string(i), letters(30));
    set(file("attributes/large"), "user.large", letters(60000));
    set(file("attributes/empty"), "user.empty", "");
    set(folder("attributes/folder"), "user.folder", std::string("a\0b", 3));
    set(file("attributes/listed"), "system.posix_acl_access", accessListFor(6));
    set(folder("attributes/inherits"), "system.posix_acl_default", accessListFor(5));
    file("attributes/inherits/below");
    const auto locked = file("attributes/locked");
    set(locked, "user.kept", "yes");
    chmod(locked.c_str(), 0444);
  }

  void makeLinks() const {
    fs::create_symlink("nowhere/at all", inFrom("dangling"));
    fs::create_symlink(letters(4000), inFrom("long"));
    fs::create_directory_symlink(scratch.directory("outside"), inFrom("folder link"));
    fs::create_symlink("..", inFrom("sizes/up"));
    fs::create_hard_link(inFrom("sizes/4096"), inFrom("modes/same"));
    fs::create_hard_link(inFrom("sizes/4096"), inFrom("names/same"));
    fs::create_hard_link(inFrom("sizes/262145"), inFrom("sizes/large too"));
    mkfifo(inFrom("pipe").c_str(), 0640);
    linkat(AT_FDCWD, inFrom("pipe").c_str(), AT_FDCWD, inFrom("sizes/pipe").c_str(), 0);
    linkat(AT_FDCWD, inFrom("dangling").c_str(), AT_FDCWD, inFrom("sizes/dangling").c_str(), 0);
    for (const auto* name : {"dangling", "long", "folder link", "sizes/up", "pipe"})
      aged(inFrom(name));
    scratch.file("outside/never copied", "secret");
  }

  void makeFolders() const {
    for (const mode_t mode : {0U, 0500U, 0555U, 0711U, 01777U, 02755U}) {
      const std::string name = "folders/" + std::to_string(mode);
      file(name + "/within");
      chmod(folder(name).c_str(), mode);
    }
    for (const auto* name : {"sizes", "modes", "names", "holes", "attributes", "folders", "."})
      folder(name);
    folder("attributes/inherits");
  }
};

TEST_F(KeepsTest, KeepsAllThatAnItemHas) {
  const mode_t before = umask(0027);
  makeFiles();
  makeHoles();
  makeAttributes();
  makeLinks();
  makeFolders();
  const auto original = factsOf(from);
  ASSERT_GT(original.size(), 60U);
  for (const unsigned threads : {1U, 8U, 0U}) {
    const auto outcome = copy(threads);
    EXPECT_EQ(::differences(original, factsOf(to)), Lines{}) << threads << " threads";
    EXPECT_EQ(outcome.copied.entries, original.size());
    EXPECT_TRUE(outcome.complete());
  }
  EXPECT_EQ(::differences(original, factsOf(from)), Lines{});
  EXPECT_EQ(log->entries(), Lines{});
  umask(before);
}

// Folders hand their access lists down to what is made in them, and a copy is not to have them.
TEST_F(CopierTest, TakesNothingOverFromWhereItGoes) {
  const auto list = accessListFor(7);
  const auto parent = scratch.directory("parent");
  ASSERT_EQ(setxattr(parent.c_str(), "system.posix_acl_default", list.data(), list.size(), 0), 0);
  chmod(parent.c_str(), 02777);
  lchown(parent.c_str(), getuid(), 5678);
  file("a/b", "text");
  chmod(folder("a").c_str(), 0700);
  for (const std::string item : {"", "/a/b"}) {
    EXPECT_TRUE(copyItemAtPath(from + item, parent + "/copy").complete());
    EXPECT_EQ(::differences(factsOf(from + item), factsOf(parent + "/copy")), Lines{});
    fs::remove_all(parent + "/copy");
  }
}

TEST_F(CopierTest, CopiesSingleItems) {
  file("file", "text");
  chmod(inFrom("file").c_str(), 0640);
  folder("folder");
  fs::create_symlink("folder", aged(inFrom("link")));
  mkfifo(inFrom("pipe").c_str(), 0600);
  for (const std::string item : {"file", "folder", "folder///", "link", "link/", "pipe"}) {
    const auto outcome = copyItemAtPath(inFrom(item), to + (item.back() == '/' ? "/" : ""));
    EXPECT_TRUE(outcome.complete()) << item;
    EXPECT_EQ(outcome.copied.entries, 1U) << item;
    const auto bare = item.substr(0, item.find('/'));
    EXPECT_EQ(::differences(factsOf(inFrom(bare)), factsOf(to)), Lines{}) << item;
    fs::remove_all(to);
  }
}

TEST_F(CopierTest, LeavesWhatIsAlreadyThere) {
  file("new/inside");
  scratch.file("kept/below", "old");
  fs::create_symlink("nowhere", scratch.path("dangling"));
  for (const std::string item : {"new", "new/inside"}) {
    for (const std::string target : {"kept", "kept/below", "dangling"}) {
      const auto before = factsOf(scratch.path(target));
      const auto outcome = copyItemAtPath(inFrom(item), scratch.path(target));
      EXPECT_EQ(outcome.failedEntries, 1U) << item << target;
      EXPECT_EQ(outcome.copied.entries, 0U);
      ASSERT_TRUE(outcome.firstError);
      EXPECT_EQ(outcome.firstError->code, EEXIST);
      EXPECT_EQ(::differences(before, factsOf(scratch.path(target))), Lines{});
    }
  }
  const auto missing = copyItemAtPath(inFrom("none"), to);
  EXPECT_EQ(missing.firstError->code, ENOENT);
  EXPECT_EQ(missing.failedEntries, 1U);
  EXPECT_EQ(copyItemAtPath(inFrom("new"), to + "/no/folder").firstError->code, ENOENT);
  EXPECT_EQ(log->count("TreeCopier"), 8U);
}

TEST_F(CopierTest, DoesNotCopyAFolderIntoItselfForEver) {
  file("a/b");
  EXPECT_FALSE(copyItemAtPath(from, inFrom("a/copy")).complete());
  EXPECT_EQ(readFile(inFrom("a/copy/a/b")), "text");
  EXPECT_FALSE(fs::exists(inFrom("a/copy/a/copy")));
}

TEST_F(CopierTest, PassesOverSocketsAndDevices) {
  const auto path = inFrom("s");
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(listening);
  const bool device = mknod(inFrom("d").c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0;
  file("file");
  const auto outcome = copy();
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.skippedEntries, device ? 2U : 1U);
  EXPECT_EQ(outcome.copied.entries, 2U);
  EXPECT_EQ(log->count("socket passed over, path:" + path), 1U);
  EXPECT_EQ(log->count("device passed over"), device ? 1U : 0U);
}

TEST_F(CopierTest, EntersNoMountPoint) {
  file("elsewhere/secret");
  file("beside");
  folder("memory");
  folder("bound");
  ASSERT_EQ(mount("none", inFrom("memory").c_str(), "tmpfs", 0, "mode=0750"), 0);
  ASSERT_EQ(mount(inFrom("elsewhere").c_str(), inFrom("bound").c_str(), nullptr, MS_BIND, nullptr),
            0);
  scratch.file("from/memory/secret");
  const auto outcome = copy();
  EXPECT_EQ(outcome.failedPaths, (Lines{"from/bound", "from/memory"}))
      << "who knows what they hide";
  EXPECT_EQ(differences().size(), 2U) << testing::PrintToString(differences());
  EXPECT_TRUE(fs::is_empty(to + "/memory"));
  EXPECT_TRUE(fs::is_empty(to + "/bound"));
  EXPECT_EQ(static_cast<int>(fs::status(to + "/memory").permissions()), 0750);
}

TEST_F(CopierTest, GivesAFoldersAttributesToAnother) {
  const auto list = accessListFor(7);
  setxattr(from.c_str(), "user.own", "1", 1, 0);
  chmod(aged(from).c_str(), 0750);
  mkdir(to.c_str(), 0777);
  setxattr(to.c_str(), "system.posix_acl_access", list.data(), list.size(), 0);
  ASSERT_TRUE(copyDirectoryAttributes(from, to + "/"));
  EXPECT_EQ(differences(), Lines{});

  setxattr(to.c_str(), "user.kept", "2", 1, 0);
  EXPECT_TRUE(copyDirectoryAttributes(from, to));
  setxattr(from.c_str(), "user.kept", "long", 4, 0);
  EXPECT_TRUE(copyDirectoryAttributes(from, to, "kept"));
  EXPECT_EQ(getxattr(to.c_str(), "user.kept", nullptr, 0), 1) << "it was to be left out";
  EXPECT_EQ(copyDirectoryAttributes(inFrom("none"), to).error().code, ENOENT);
  EXPECT_EQ(copyDirectoryAttributes(from, inFrom("none")).error().code, ENOENT);
  EXPECT_EQ(copyDirectoryAttributes(from, file("file")).error().code, ENOTDIR);
}

}  // namespace
