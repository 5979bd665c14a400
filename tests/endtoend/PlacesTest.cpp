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
  done("session-save off");  // with it the helper would stay
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

// What a mount inside a disk hides is the disk's own, and what it shows is not.
TEST_F(PlacesTest, ASaveKeepsWhatAMountInsideTheDiskHides) {
  for (const char* file : {"old", "in/hidden", "deep/in/hidden"})
    scratch.file(std::string("home/desk/cache/") + file, "own");
  done("add '" + folder + "' --size 200M");
  done("create cache");
  for (const char* inside : {"home/desk/cache/in", "home/desk/cache/deep/in"})
    scratch.file(mountAt(inside).substr(scratch.path().size() + 1) + "/shown", "other's");
  for (const char* action : {"sync cache", "eject cache --force"}) {
    const Ran ran = run(action);
    const std::string kept = isMounted(folder) ? saved : folder;
    for (const char* inside : {"/in", "/deep/in"}) {
      EXPECT_EQ(readFile(kept + inside + "/hidden"), "own") << action << "\n" << ran.output;
      EXPECT_FALSE(fs::exists(kept + inside + "/shown")) << action;
    }
  }
}

// Home, a folder of it, or the directory itself may be on another disk by a link.
TEST_F(PlacesTest, ADiskBehindLinksIsOneOverTheDirectoryItself) {
  const std::string far = scratch.directory("far");
  fs::rename(home + "/desk", far + "/desk");
  fs::create_directory_symlink(far + "/desk", home + "/desk");
  scratch.file("far/shelf/files/old", "old");
  fs::create_directory_symlink("../shelf/files", far + "/desk/link");
  fs::create_directory_symlink("link", far + "/desk/again");
  scratch.file("far/desk/cache/old", "old");
  scratch.file("far/desk/named/old", "old");
  done("add '" + folder + "' --size 200M");
  done("add '" + home + "/desk/again' --size 200M");
  done("add --name named --directory '" + home + "/desk' --backup base --size 200M");
  // What was configured while there was no link.
  scratch.file("home/desk/late/old", "old");
  done("add '" + home + "/desk/late' --size 200M");
  fs::rename(far + "/desk/late", far + "/shelf/moved");
  fs::create_directory_symlink("../shelf/moved", far + "/desk/late");

  EXPECT_TRUE(holds(done("show files"), "Place          " + home + "/desk/again\n"));

  const std::string given[] = {"desk/cache", "desk/again", "desk/named", "desk/late"};
  const std::string places[] = {"desk/cache", "shelf/files", "desk/named", "shelf/moved"};
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(holds(done("create --all"), "mounted at " + home + "/desk/cache"));
    for (int i = 0; i < 4; ++i) {
      EXPECT_TRUE(isMounted(far + "/" + places[i])) << given[i];
      EXPECT_EQ(readFile(home + "/" + given[i] + "/old"), "old") << given[i];
      scratch.file("home/" + given[i] + "/new" + std::to_string(round), "new");
    }
    done(round == 0 ? "sync --all" : "rebuild --all");
    done("eject --all");
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(readFile(far + "/" + places[i] + "/old"), "old") << given[i];
      EXPECT_EQ(readFile(home + "/" + given[i] + "/new" + std::to_string(round)), "new");
      EXPECT_FALSE(fs::exists(far + "/" + places[i] + " (Tarnvale Backup Base)")) << given[i];
    }
  }
  for (const char* link : {"again", "link", "late"})
    EXPECT_TRUE(fs::is_symlink(far + "/desk/" + link)) << link;
}

// The saved base has a longer name than the directory, and what is kept of it may get a longer one.
TEST_F(PlacesTest, ANameLeavesRoomForWhatLiesBesideTheDirectory) {
  const std::string most(212, 'n');
  const std::string deep = "home/desk/" + std::string(200, 'd');
  std::string path = deep;
  for (int level = 0; level < 5; ++level) path += "/" + std::string(200, 'd');
  for (const std::string& name : {most, most + "n"}) scratch.directory("home/desk/" + name);
  refused("add '" + home + "/desk/" + most + "n' --size 200M", "where it may have 212 bytes");
  refused("add --name '" + most + "n' --directory '" + home + "/desk' --size 200M", "212");
  done("add '" + home + "/desk/" + most + "' --size 200M");
  scratch.file("home/desk/" + most + "/old", "old");
  scratch.file(path + "/file", "deep");
  done("add '" + scratch.path(deep) + "' --size 200M");
  done("create --all");
  EXPECT_EQ(readFile(scratch.path(path + "/file")), "deep") << "measured and brought in";
  done("sync --all");
  done("eject --all");
  EXPECT_EQ(readFile(home + "/desk/" + most + "/old"), "old");
  EXPECT_EQ(readFile(scratch.path(path + "/file")), "deep");
}

// Contents that are not to come in are never replaced, and what is hidden is told before.
TEST_F(PlacesTest, WhatADirectoryHoldsComesInOrIsSaidNotTo) {
  scratch.file("home/desk/cache/old", "old");
  const std::string path = "add '" + folder + "' --size 200M";
  refused(path + " --no-measure", folder + " holds files");
  for (const char* mode : {"none", "support"}) {
    const std::string told = done(path + " --backup " + mode);
    EXPECT_TRUE(holds(told, "What " + folder + " holds is not on the RamDisk")) << told;
    done("create cache");
    EXPECT_TRUE(fs::is_empty(folder)) << mode;
    done("eject cache");
    EXPECT_EQ(readFile(folder + "/old"), "old") << mode;
    refused("set cache --backup base --no-measure", folder + " holds files");
    done("remove cache --yes");
  }
  fs::rename(folder + "/old", home + "/old");
  EXPECT_FALSE(holds(done(path + " --no-measure"), "holds")) << "there is nothing to leave out";
  fs::rename(home + "/old", folder + "/old");
  refused("create cache", folder + " holds files");
  EXPECT_EQ(done("set cache --measure"), "cache: changed\n");
  done("create cache");
  EXPECT_EQ(readFile(folder + "/old"), "old");
  refused("set cache --no-measure", folder + " holds files");
  done("eject cache");
  EXPECT_EQ(readFile(folder + "/old"), "old");
}

// A browser's caches on another disk.
TEST_F(PlacesTest, APresetBehindLinksIsOneOverItsDirectory) {
  const std::string program = scratch.executable("firefox", "#!/bin/sh\necho Firefox 115.0\n");
  scratch.file("home/.local/share/applications/firefox.desktop",
               "[Desktop Entry]\nType=Application\nName=Firefox\nExec=" + program + "\n");
  scratch.directory("far/caches/mozilla");
  scratch.file("far/caches/fox/old", "old");
  fs::create_directory_symlink("../far/caches", home + "/.cache");
  fs::create_directory_symlink("../fox", scratch.path("far/caches/mozilla/firefox"));
  done("add --kind firefox --backup base --size 200M");
  for (const char* file : {"one", "two"}) {
    done("create --all");
    EXPECT_TRUE(isMounted(scratch.path("far/caches/fox")));
    scratch.file(std::string("home/.cache/mozilla/firefox/") + file, "new");
    done("eject --all");
    EXPECT_EQ(readFile(scratch.path(std::string("far/caches/fox/") + file)), "new");
  }
  EXPECT_EQ(readFile(scratch.path("far/caches/fox/old")), "old");
  EXPECT_TRUE(fs::is_symlink(scratch.path("far/caches/mozilla/firefox")));
}

}  // namespace
