#include <sys/mount.h>

#include <algorithm>
#include <filesystem>

#include "tests/menu/MenuTest.h"

namespace {

namespace fs = std::filesystem;

class FolderTest : public MenuTest {
 protected:
  // A folder's menu below home/desk, as it is when it opens.
  menu::MenuPtr menuOf(const std::string& name) {
    if (!controller) start();
    auto folder = menu::Menu::qv_menuWithTitle<menu::Menu>(work + "/" + name, controller, false);
    folder->needsUpdate();
    return folder;
  }
  static std::string fileLine(const std::string& path, bool isFolder = false) {
    const std::string name = path.substr(path.rfind('/') + 1);
    return name + " [mi_openFile:] {icon of " + name + "} = ~/" + path +
           (isFolder ? " > ~/" + path : "");
  }
  static Lines emptyFolder(const std::string& path) {
    return {"Remove this Folder [mi_cleanFolder:] = ~/" + path, "---", "(No File Here) (off)"};
  }
  // The folder's own lines without their order, which is the file system's.
  Lines sortedFiles(const menu::Menu& menu) const {
    auto all = lines(menu);
    all.erase(all.begin(), all.begin() + 2);
    std::sort(all.begin(), all.end());
    return all;
  }
};

TEST_F(FolderTest, EntriesOfEverySort) {
  scratch.directory("home/desk/f/folder");
  scratch.file("home/desk/f/file.txt");
  scratch.file("home/desk/f/.hidden");
  fs::create_symlink(work + "/f/folder", work + "/f/to-folder");
  fs::create_symlink(work + "/f/file.txt", work + "/f/to-file");
  fs::create_symlink("nowhere", work + "/f/broken");
  const auto shown = menuOf("f");
  EXPECT_EQ(lines(*shown)[0], "Remove this Folder [mi_cleanFolder:] = ~/f");
  EXPECT_EQ(lines(*shown)[1], "---");
  EXPECT_EQ(sortedFiles(*shown), (Lines{fileLine("f/.hidden"), fileLine("f/broken"),
                                        fileLine("f/file.txt"), fileLine("f/folder", true),
                                        fileLine("f/to-file"), fileLine("f/to-folder", true)}));
  EXPECT_FALSE(openFolder(*shown, "folder")->autoenablesItems);
}

// Each entry is looked at once, and pictures are asked for by what decides them.
TEST_F(FolderTest, ManyFilesCostLittleAndComeInTheFileSystemsOrder) {
  constexpr int kFiles = 1000;
  const char* const extensions[] = {".txt", ".o", ".tar.gz", ".d"};
  for (int i = 0; i < kFiles; ++i)
    scratch.file("home/desk/f/" + std::to_string(i * 7919 % kFiles) + extensions[i % 4]);
  start();
  const auto names = files->names(work + "/f");
  ASSERT_TRUE(names);
  files->looks = 0;
  const auto shown = menuOf("f");
  EXPECT_EQ(files->looks, kFiles);
  EXPECT_EQ(graphics->asked.size(), 4U);
  Lines titles;
  for (const auto& item : shown->items()) titles.push_back(item->title);
  titles.erase(titles.begin(), titles.begin() + 2);
  EXPECT_EQ(titles, *names);
}

TEST_F(FolderTest, WithoutFilesItSaysSo) {
  scratch.directory("home/desk/empty");
  scratch.file("home/desk/kept/.DS_Store");
  for (const char* name : {"empty", "kept", "gone"})
    EXPECT_EQ(lines(*menuOf(name)), emptyFolder(name));
  faults->fail("names");
  EXPECT_EQ(lines(*menuOf("kept")), emptyFolder("kept"));
}

// What goes is looked for on the disk's own volume, wherever its path leads by then.
TEST_F(FolderTest, FilesAreOpenedAndFoldersOfTheDiskRemoved) {
  scratch.file("home/desk/f/own/file");
  scratch.file("home/desk/outside/below/file");
  startWith({"f"});
  elsewhere([](auto& theirs) { theirs.create(theirs.ramDisks()[0], 0); });
  for (const char* name : {"gone/sub/file", "moved/file", "covered/file", "two words"})
    scratch.file(std::string("home/desk/f/") + name);
  fs::create_symlink(work + "/outside", work + "/f/link");
  const auto remove = [](const menu::Menu& folder) { click(folder, "Remove this Folder"); };
  open();
  const auto& top = openDisk("f");
  click(top, "two words");
  EXPECT_EQ(workspace->opened, Lines{work + "/f/two words"});
  const auto gone = openFolder(top, "gone");
  remove(*openFolder(*gone, "sub"));
  EXPECT_TRUE(fs::exists(work + "/f/gone") && !fs::exists(work + "/f/gone/sub"));
  remove(*gone);
  EXPECT_FALSE(fs::exists(work + "/f/gone"));
  EXPECT_EQ(lines(*openFolder(top, "gone")), emptyFolder("f/gone")) << "it went meanwhile";
  remove(*openFolder(top, "gone"));

  open();
  const auto link = openFolder(openDisk("f"), "link");
  remove(*openFolder(*link, "below"));
  fs::rename(work + "/f/moved", work + "/f/kept");
  fs::create_symlink(work + "/outside", work + "/f/moved");
  remove(*menuOf("f/moved/below"));
  ASSERT_EQ(mount((work + "/outside").c_str(), (work + "/f/covered").c_str(), "", MS_BIND, ""), 0);
  remove(*menuOf("f/covered/below"));
  remove(*menuOf("f/covered"));
  ASSERT_EQ(umount2((work + "/f/covered").c_str(), 0), 0);
  remove(*menuOf("outside"));
  const auto own = menuOf("f/own");
  elsewhere([](auto& theirs) { theirs.eject(theirs.ramDisks()[0], 0); });
  remove(*own);
  elsewhere([](QVRamDiskEntries& list) { list.removeEntry(list.ramDisks().front()); });
  controller->ramDiskEntries()->readRamDisksFromDefaultLocation();
  remove(*own);
  for (const char* name : {"outside/below/file", "f/own/file", "f/kept/file", "f/covered/file"})
    EXPECT_TRUE(fs::exists(work + "/" + name)) << name;
  EXPECT_EQ(log->count("removeItemAtPath==NO sender.representedObject:" + work), 6U);
  EXPECT_TRUE(alerts->shown.empty());
  EXPECT_EQ(controller->fileMenuItemWithPath(work + "/f")->title, "f");
}

// What a volume's root hides, folders below it show.
TEST_F(FolderTest, TheRootOfAVolumeHidesWhatTheSystemKeepsThere) {
  for (const char* name : {".Trashes", ".fseventsd", ".Spotlight-V100", ".mine"})
    for (const char* folder : {"volume/", "volume/sub/"})
      scratch.file("home/desk/" + std::string(folder) + name);
  start();
  record("volume", QVRamDiskStatus_mounted)->setPath(work + "/volume");
  open();
  auto shown = lines(openDisk("volume"));
  ASSERT_EQ(shown.size(), 6U);
  EXPECT_EQ(shown[3], "---");
  std::sort(shown.begin() + 4, shown.end());
  EXPECT_EQ(shown[4], fileLine("volume/.mine"));
  EXPECT_EQ(shown[5], fileLine("volume/sub", true));
  EXPECT_EQ(sortedFiles(*openFolder(openDisk("volume"), "sub")),
            (Lines{fileLine("volume/sub/.Spotlight-V100"), fileLine("volume/sub/.Trashes"),
                   fileLine("volume/sub/.fseventsd"), fileLine("volume/sub/.mine")}));
}

}  // namespace
