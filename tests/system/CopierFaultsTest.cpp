// What the copier meets when something is in its way, made real where the kernel can be brought to
// it; what only another program's timing could bring about comes through a decorator of the seam.

#include <sys/syscall.h>

#include "tests/support/Privileges.h"
#include "tests/system/CopierTest.h"

namespace {

using Lines = std::vector<std::string>;

class CopierFaultsTest : public CopierTest {
 protected:
  static constexpr gid_t kGroup = 5678;

  // Copies as an ordinary user does, a member of a group: on a thread without the rights of the
  // super user.
  CopyOutcome copyWithoutPrivileges() const {
    CopyOutcome outcome;
    std::thread([&] {
      syscall(SYS_setgroups, 1, &kGroup);  // the library's call would change every thread
      withoutPrivileges([&] { outcome = copy(4); });
    }).join();
    return outcome;
  }
};

TEST_F(CopierFaultsTest, GoesOnAfterWhatItMayNotRead) {
  file("good/file", "text");
  chmod(file("unreadable", "secret").c_str(), 0);
  file("closed/a");
  file("closed/b");
  file("listed only/a");
  file("listed only/b");
  for (const std::string name : {"read only", "no write"}) {
    file(name + "/inside/file");
    fs::create_hard_link(inFrom(name + "/inside/file"), inFrom(name + "/link"));
    chmod(folder(name + "/inside").c_str(), 0555);
  }
  const struct {
    const char* name;
    mode_t mode;
  } folders[] = {{"closed", 0}, {"listed only", 0444}, {"read only", 0555}, {"no write", 0500}};
  for (const auto& each : folders) chmod(folder(each.name).c_str(), each.mode);
  folder(".");

  const auto outcome = copyWithoutPrivileges();
  EXPECT_EQ(outcome.failedEntries, 4U);
  EXPECT_EQ(log->count("errno:13"), 4U);
  EXPECT_EQ(outcome.firstError->code, EACCES);
  const auto missing = differences();
  EXPECT_EQ(missing.size(), 6U) << testing::PrintToString(missing);
  for (const auto& line : missing) EXPECT_NE(line.find("| missing"), std::string::npos) << line;
}

TEST_F(CopierFaultsTest, GivesAwayOnlyWhatTheUserMayGive) {
  const auto tool = file("tool", "text");
  if (lchown(tool.c_str(), 1234, kGroup) != 0) GTEST_SKIP() << "cannot give files away here";
  chmod(tool.c_str(), 06755);
  ASSERT_TRUE(copyWithoutPrivileges().complete());
  struct stat made {};
  ASSERT_EQ(stat((to + "/tool").c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 07777, 02755U);
  EXPECT_EQ(made.st_gid, kGroup);
}

TEST_F(CopierFaultsTest, GoesOnWhereThereIsNoRoom) {
  const auto disk = scratch.directory("disk");
  const std::pair<const char*, std::uint64_t> disks[] = {
      {"size=1m", 1}, {"nr_inodes=6", 2}, {"size=4k,nr_inodes=9", 2}};
  file("1", std::string(1000, 'a'));
  file("2", std::string(3 << 20, 'b'));
  file("3", std::string(3000, 'c'));
  file("folder/4", "");
  folder("folder/5/6");
  for (const auto& [size, failures] : disks) {
    SCOPED_TRACE(size);
    ASSERT_EQ(mount("none", disk.c_str(), "tmpfs", 0, size), 0);
    // By one thread, or one finds no room while another fills it in vain.
    const auto outcome = copyItemAtPath(from, disk + "/to", {.progress = {}, .threads = 1});
    EXPECT_EQ(outcome.failedEntries, failures);
    EXPECT_EQ(outcome.failedPaths.size(), failures);
    EXPECT_EQ(outcome.failedItems.at("from").code, ENOSPC);
    EXPECT_TRUE(outcome.destinationFull);
    EXPECT_EQ(log->count("errno:28"), failures);
    const auto made = factsOf(disk + "/to");
    EXPECT_EQ(outcome.copied.entries, made.size());
    std::uint64_t bytes = 0;
    for (const auto* name : {"1", "2", "3"}) bytes += readFile(disk + "/to/" + name).size();
    EXPECT_EQ(outcome.copied.bytes, bytes);
    for (const auto& line : ::differences(made, factsOf(from)))
      EXPECT_NE(line.find(": missing |"), std::string::npos) << line;
    log->clear();
    umount(disk.c_str());
  }
}

// Acts in between the copier's steps, and stands for kernels that do less.
class Interloper : public platform::PosixFileCopying {
 public:
  std::function<void(const std::string& name)> beforeOpening = [](const auto&) {};
  std::function<void()> beforeContents = [] {};
  double share = 1;  // of a stretch that the kernel copies
  platform::Outcome attributes;

  int openFile(int directory, const char* name) const override {
    beforeOpening(name);
    return PosixFileCopying::openFile(directory, name);
  }
  int openFolder(int directory, const char* name) const override {
    beforeOpening(name);
    return PosixFileCopying::openFolder(directory, name);
  }
  std::uint64_t copyContents(int source, int target, std::uint64_t offset,
                             std::uint64_t length) const override {
    beforeContents();
    const auto part = static_cast<std::uint64_t>(static_cast<double>(length) * share);
    return part == 0 ? 0 : PosixFileCopying::copyContents(source, target, offset, part);
  }
  platform::Outcome copyAttributes(int source, int target,
                                   std::string_view leftOut) const override {
    return attributes ? PosixFileCopying::copyAttributes(source, target, leftOut) : attributes;
  }
};

class InterloperTest : public CopierFaultsTest {
 protected:
  InterloperTest() { use(interloper); }

  const std::shared_ptr<Interloper> interloper = std::make_shared<Interloper>();
};

TEST_F(InterloperTest, CopiesWhatTheKernelDoesNot) {
  std::string text(1000001, 'x');
  for (std::size_t i = 0; i < text.size(); i += 1000)
    text[i] = static_cast<char>('a' + i / 1000 % 26);
  file("large", text);
  truncate(file("sparse", text).c_str(), 3000000);
  aged(inFrom("sparse"));
  folder(".");
  for (const double share : {0.0, 0.3, 1.0}) {
    interloper->share = share;
    EXPECT_EQ(copy().copied.bytes, fs::file_size(inFrom("large")) + 1003520) << share;
    EXPECT_EQ(differences(), Lines{}) << share;
  }
}

TEST_F(InterloperTest, TakesEntriesAsItFindsThem) {
  const std::string item = inFrom("item");
  const auto outside = scratch.file("outside/secret", "secret");
  const auto clear = [&] { fs::remove_all(item); };
  constexpr auto kNone = fs::file_type::not_found;
  const struct {
    const char* change;
    std::function<void()> make;
    std::function<void()> meanwhile;
    std::uint64_t failures;
    fs::file_type copy;
  } cases[] = {
      {"file vanishes", [&] { file("item"); }, clear, 0, kNone},
      {"folder vanishes", [&] { file("item/below"); }, clear, 0, kNone},
      {"file becomes a link", [&] { file("item"); },
       [&] { clear(), fs::create_symlink(outside, item); }, 0, fs::file_type::symlink},
      {"file becomes a pipe", [&] { file("item"); }, [&] { clear(), mkfifo(item.c_str(), 0600); },
       0, fs::file_type::fifo},
      {"file becomes a folder", [&] { file("item"); }, [&] { clear(), folder("item"); }, 1, kNone},
      {"folder becomes a file", [&] { folder("item"); }, [&] { clear(), file("item"); }, 1, kNone},
      {"folder becomes a link", [&] { file("item/below"); },
       [&] { clear(), fs::create_directory_symlink(scratch.path("outside"), item); }, 1, kNone},
  };
  for (const auto& each : cases) {
    each.make();
    file("other");
    interloper->beforeOpening = [&](const std::string& name) {
      if (name == "item") each.meanwhile();
    };
    const auto outcome = copy();
    EXPECT_EQ(outcome.failedEntries, each.failures) << each.change;
    EXPECT_EQ(fs::symlink_status(to + "/item").type(), each.copy) << each.change;
    EXPECT_EQ(readFile(to + "/other"), "text") << each.change;
    clear();
  }
}

TEST_F(InterloperTest, CopiesAFileThatIsBeingWritten) {
  const std::string text(100000, 'a');
  for (const off_t size : {0, 10, 99999, 500000}) {
    file("item", text);
    interloper->beforeContents = [&] { truncate(inFrom("item").c_str(), size); };
    EXPECT_TRUE(copy().complete());
    EXPECT_EQ(readFile(to + "/item"), text.substr(0, static_cast<std::size_t>(size))) << size;
  }
  truncate(file("item", "").c_str(), 1 << 20);
  pwrite(open(inFrom("item").c_str(), O_WRONLY | O_CLOEXEC), text.data(), text.size(), 500000);
  interloper->beforeContents = [&] { truncate(inFrom("item").c_str(), 550000); };
  EXPECT_TRUE(copy().complete());
  EXPECT_EQ(fs::file_size(to + "/item"), 550000U);
}

TEST_F(InterloperTest, CountsAttributesThatCannotBeKept) {
  interloper->attributes = platform::SystemError{"POSIX", ENOSPC, "user.large: no space"};
  file("item", "text");
  const auto outcome = copy();
  EXPECT_EQ(outcome.failedEntries, 2U);
  EXPECT_EQ(outcome.firstError->code, ENOSPC);
  EXPECT_EQ(log->count("user.large"), 2U);
  EXPECT_EQ(differences(), Lines{});
}

}  // namespace
