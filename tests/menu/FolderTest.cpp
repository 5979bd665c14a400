#include <ctime>
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
  std::string fileLine(const std::string& path, bool isFolder = false) const {
    const std::string name = path.substr(path.rfind('/') + 1);
    return name + " [mi_openFile:] {icon of " + name + "} = ~/" + path +
           (isFolder ? " > ~/" + path : "");
  }
  Lines emptyFolder(const std::string& path) const {
    return {"Remove this Folder [mi_cleanFolder:] = ~/" + path, "---", "(No File Here) (off)"};
  }
  // The folder's own lines without their order, which is the file system's.
  Lines sortedFiles(const menu::Menu& menu) const {
    auto all = lines(menu);
    all.erase(all.begin(), all.begin() + 2);
    std::sort(all.begin(), all.end());
    return all;
  }
  void link(const std::string& target, const std::string& name) const {
    fs::create_symlink(target, work + "/" + name);
  }
};

TEST_F(FolderTest, EntriesOfEverySort) {
  scratch.directory("home/desk/f/folder");
  scratch.file("home/desk/f/file.txt");
  scratch.file("home/desk/f/.hidden");
  link(work + "/f/folder", "f/to-folder");
  link("file.txt", "f/to-file.txt");
  link("nowhere", "f/broken");
  const auto shown = menuOf("f");
  EXPECT_EQ(lines(*shown)[0], "Remove this Folder [mi_cleanFolder:] = ~/f");
  EXPECT_EQ(lines(*shown)[1], "---");
  Lines expected = {fileLine("f/.hidden"),     fileLine("f/broken"),
                    fileLine("f/file.txt"),    fileLine("f/folder", true),
                    fileLine("f/to-file.txt"), fileLine("f/to-folder", true)};
  expected[4] = "to-file.txt [mi_openFile:] {icon of file.txt} = ~/f/to-file.txt";
  auto found = sortedFiles(*shown);
  // Which of the two text files is asked for is the file system's choice.
  for (auto& line : found)
    if (line.starts_with("file.txt"))
      line = fileLine("f/file.txt");
    else if (line.starts_with("to-file.txt"))
      line = expected[4];
  EXPECT_EQ(found, expected);
  EXPECT_FALSE(openFolder(*shown, "folder")->autoenablesItems);
}

TEST_F(FolderTest, NamesComeInTheFileSystemsOrder) {
  for (int i = 0; i < 50; ++i) scratch.file("home/desk/f/" + std::to_string(i * 7919 % 1000));
  const auto names = files->names(work + "/f");
  ASSERT_TRUE(names);
  Lines titles;
  const auto shown = menuOf("f");
  for (const auto& item : shown->items())
    if (!item->represented<std::string>().empty()) titles.push_back(item->title);
  titles.erase(titles.begin());
  EXPECT_EQ(titles, *names);
}

TEST_F(FolderTest, WithoutFilesItSaysSo) {
  scratch.directory("home/desk/empty");
  scratch.file("home/desk/kept/.DS_Store");
  scratch.directory("home/desk/closed");
  EXPECT_EQ(lines(*menuOf("empty")), emptyFolder("empty"));
  EXPECT_EQ(lines(*menuOf("kept")), emptyFolder("kept"));
  EXPECT_EQ(lines(*menuOf("gone")), emptyFolder("gone"));
  faults->fail("names");
  EXPECT_EQ(lines(*menuOf("closed")), emptyFolder("closed"));
}

TEST_F(FolderTest, AFolderThatWentWhileItsParentWasOpen) {
  scratch.directory("home/desk/f/folder");
  const auto parent = menuOf("f");
  fs::remove(work + "/f/folder");
  EXPECT_EQ(lines(*openFolder(*parent, "folder")), emptyFolder("f/folder"));
  click(*openFolder(*parent, "folder"), "Remove this Folder");
  EXPECT_EQ(log->count("removeItemAtPath==NO sender.representedObject:" + work + "/f/folder"), 1U);
  EXPECT_TRUE(alerts->shown.empty());
}

TEST_F(FolderTest, FilesAreOpenedAndFoldersRemoved) {
  scratch.file("home/desk/f/folder/file");
  scratch.file("home/desk/f/two words");
  const auto parent = menuOf("f");
  click(*parent, "two words");
  click(*parent, "folder");
  EXPECT_EQ(workspace->opened, (Lines{work + "/f/two words", work + "/f/folder"}));
  click(*openFolder(*parent, "folder"), "Remove this Folder");
  EXPECT_FALSE(fs::exists(work + "/f/folder"));
  EXPECT_EQ(controller->fileMenuItemWithPath(work + "/f")->title, "f");
}

// What a volume's root hides, folders below it show.
TEST_F(FolderTest, TheRootOfAVolumeHidesWhatTheSystemKeepsThere) {
  for (const char* name : {".Trashes", ".fseventsd", ".Spotlight-V100", ".mine"}) {
    scratch.file("home/desk/volume/" + std::string(name));
    scratch.file("home/desk/volume/sub/" + std::string(name));
  }
  start();
  const auto volume = record("volume", QVRamDiskStatus_mounted);
  volume->setPath(work + "/volume");
  open();
  auto shown = lines(openDisk("volume"));
  ASSERT_EQ(shown.size(), 6U);
  EXPECT_EQ(shown[3], "---");
  std::sort(shown.begin() + 4, shown.end());
  EXPECT_EQ(shown[4], fileLine("volume/.mine"));
  EXPECT_EQ(shown[5], fileLine("volume/sub", true));
  const auto below = openFolder(*itemOf(*controller->statusMenu(), "volume")->submenu, "sub");
  EXPECT_EQ(sortedFiles(*below),
            (Lines{fileLine("volume/sub/.Spotlight-V100"), fileLine("volume/sub/.Trashes"),
                   fileLine("volume/sub/.fseventsd"), fileLine("volume/sub/.mine")}));
}

// Each entry is looked at once, and pictures are asked for by what decides them.
TEST_F(FolderTest, TenThousandFilesCostLittle) {
  constexpr int kFiles = 10'000;
  const char* const extensions[] = {".txt", ".o", ".tar.gz", ".d"};
  for (int i = 0; i < kFiles; ++i)
    scratch.file("home/desk/f/file" + std::to_string(i) + extensions[i % 4]);
  start();
  files->looks = 0;
  const auto before = std::clock();
  const auto shown = menuOf("f");
  const double milliseconds = 1000.0 * static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
  RecordProperty("milliseconds", std::to_string(milliseconds));
  std::printf("10,000 files as menu items: %.1f ms of processor time\n", milliseconds);
  EXPECT_EQ(shown->items().size(), kFiles + 2U);
  EXPECT_EQ(files->looks, kFiles);
  EXPECT_EQ(graphics->filesAsked, 4);
}

}  // namespace
