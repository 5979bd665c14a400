// Places that cannot hold a disk, and paths that lead somewhere else: what is refused and what
// works, from `add` on and again when the disk is made.

#include <sys/mount.h>

#include "tests/endtoend/CommandLineTest.h"
#include "tests/endtoend/HelperTest.h"

namespace {

class PlacesTest : public CommandLineTest {
 protected:
  ~PlacesTest() override {
    for (const auto& path : mounted_) umount2(path.c_str(), MNT_DETACH);
  }
  std::string mountAt(const std::string& relative) {
    mounted_.push_back(scratch.directory(relative));
    EXPECT_EQ(mount("other", mounted_.back().c_str(), "tmpfs", 0, nullptr), 0);
    return mounted_.back();
  }
  // Refused by validation, in words that name what speaks against it.
  static void refused(const std::string& arguments, const std::string& named) {
    const Ran ran = run(arguments);
    EXPECT_EQ(ran.status, 4) << arguments << "\n" << ran.output;
    EXPECT_TRUE(holds(ran.output, named)) << arguments << "\n" << ran.output;
  }

 private:
  std::vector<std::string> mounted_;
};

TEST_F(PlacesTest, ADiskKeepsClearOfMountsOtherDisksAndTheProgramsOwn) {
  scratch.directory("home/desk/cache/in");
  const std::string kept = scratch.directory("home/desk/kept");
  const std::string programs = fs::path(TARNVALE_PROGRAM).parent_path().parent_path();
  fs::create_directory_symlink("desk", home + "/alias");
  const std::string bound = scratch.directory("bound");
  ASSERT_EQ(mount((home + "/desk").c_str(), bound.c_str(), nullptr, MS_BIND, nullptr), 0);
  const std::string below = mountAt("home/desk/shelf/deep/mounted");
  done("add '" + folder + "' --size 200M");
  done("add --name far --size 200M --backup-dir '" + kept + "'");
  const std::string before = registry();
  const std::pair<std::string, std::string> rows[] = {
      {"add '" + home + "/desk/shelf'", below},
      {"add '" + below + "' --backup none", below},
      {"add '" + folder + "/in'", "The RamDisk cache needs " + folder},
      {"add '" + home + "/alias/cache/in'", "The RamDisk cache needs " + folder},
      {"add '" + bound + "/cache/in'", "The RamDisk cache needs " + folder},
      {"add '" + home + "/desk'", "The RamDisk cache needs " + folder},
      {"set far --name desk --directory '" + home + "'", "The RamDisk cache needs " + folder},
      {"add '" + kept + "'", "The RamDisk far needs " + kept},
      {"add '" + home + "' --backup support", home},
      {"add '" + home + "/.local'", "/.local/share"},
      {"add '" + programs + "'", "would cover " + programs},
      {"set far --backup-dir '" + home + "/alias/cache/in'", "lies on the disk cache"},
  };
  for (const auto& [arguments, named] : rows) {
    refused(arguments, named);
    EXPECT_EQ(registry(), before) << arguments;
  }
  umount2(bound.c_str(), MNT_DETACH);
}

// What is mounted, and where links lead, changes after a disk was configured.
TEST_F(PlacesTest, APlaceIsLookedAtAgainWhenTheDiskIsMadeByWhomever) {
  scratch.file("home/desk/cache/file", "file");
  done("add '" + folder + "' --size 200M --at-login");
  const std::string inside = mountAt("home/desk/cache/in");
  refused("create cache", inside);
  EXPECT_EQ(Helper().end(), 0);
  EXPECT_FALSE(isMounted(folder));
  EXPECT_FALSE(fs::exists(saved));
  ASSERT_EQ(umount2(inside.c_str(), 0), 0);
  done("create cache");

  mountAt("home/desk/cache/in");
  refused("eject cache", "cache is in use by what is mounted at " + inside);
  refused("rebuild cache", inside);
  ASSERT_EQ(umount2(inside.c_str(), 0), 0);
  done("add --name far --size 200M");
  refused("set far --backup-dir '" + inside + "'", "lies on the disk cache");
  done("eject cache");
  EXPECT_EQ(readFile(folder + "/file"), "file");
}

}  // namespace
