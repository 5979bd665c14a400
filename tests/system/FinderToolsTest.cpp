#include "extensions/PathExtension.h"
#include "platform/linux/LinuxWorkspace.h"
#include "system/QVFinderTools.h"
#include "tests/support/Faults.h"
#include "tests/system/SystemTest.h"

namespace {

// The real desktop port, with labels and a file manager that the test dictates.
class Desktop : public platform::LinuxWorkspace {
 public:
  platform::Outcome showInformation(const std::string& path) override {
    shown.push_back(path);
    return answer;
  }

  std::vector<std::string> shown;
  platform::Outcome answer;
};

class FinderToolsTest : public SystemTest {
 protected:
  FinderToolsTest() {
    auto all = platform::services();
    all.workspace = desktop;
    all.files = std::make_shared<FaultyFiles>(faults);
    platform::install(all);
  }

  std::string home(const std::string& below) const { return scratch.path("home" + below); }

  // "status reason", with "-" for a reason that was left alone.
  static std::string trashStatus(const std::optional<std::string>& path, std::int64_t mode = 0) {
    std::optional<std::string> reason = "-";
    const auto status = QVFinderTools::trashableStatusForFile(path, mode, &reason);
    EXPECT_EQ(QVFinderTools::trashableStatusForFile(path, mode, nullptr), status);
    return std::to_string(status) + " " + reason.value_or("nil");
  }

  FaultPlanPtr faults = std::make_shared<FaultPlan>();
  std::shared_ptr<Desktop> desktop = std::make_shared<Desktop>();
  std::string mounted = scratch.path("home/mounted");
};

constexpr char kUser[] = "-1 Deleting user directory is not allowed.";
constexpr char kLibrary[] = "-1 Delete Library sub-directory is not allowed.";

TEST_F(FinderToolsTest, HoldsTheUsersOwnFoldersBack) {
  for (const std::string folder :
       {"", "/Desktop", "/Documents", "/Downloads", "/Library", "/Library/Application Support",
        "/Library/Caches", "/Library/Calendars", "/Library/Keychains", "/Library/Mail",
        "/Library/Preferences", "/Movies", "/Music", "/Music/iTunes", "/Pictures", "/Public"}) {
    scratch.directory("home" + folder);
    for (const std::int64_t mode : {0, 1, 2})
      EXPECT_EQ(trashStatus(home(folder), mode), kUser) << folder;
    scratch.file("home" + folder + "/inside");
    EXPECT_EQ(trashStatus(home(folder + "/inside"), 1), "1 -") << folder;
    EXPECT_EQ(trashStatus(home(folder + "/inside"), 0),
              folder.starts_with("/Library") ? kLibrary : "1 -")
        << folder;
  }
  // With a slash at the end it is another text, which begins like the home all the same.
  EXPECT_EQ(trashStatus(home("/Documents/")), "1 -");
  EXPECT_EQ(trashStatus(home("/Library/")), kLibrary);
}

TEST_F(FinderToolsTest, ComparesFoldersAsTexts) {
  const auto neighbour = scratch.file("home2/file");
  const auto library2 = scratch.file("home/Library2/file");
  const auto outside = scratch.file("outside");
  EXPECT_EQ(trashStatus(neighbour), "1 -");
  EXPECT_EQ(trashStatus(library2), kLibrary);
  EXPECT_EQ(trashStatus(outside), "-1 ");
  EXPECT_EQ(trashStatus(outside, 1), "1 -");
  places = std::make_shared<doubles::FakePlaces>(scratch.path());
  places->homeIsKnown = false;
  installServices();
  EXPECT_EQ(trashStatus(library2), "-1 ") << "nothing is inside a home that is not known";
  EXPECT_EQ(trashStatus(home("/Library2"), 1), "1 -");
}

TEST_F(FinderToolsTest, AsksForExistenceThenForRights) {
  EXPECT_EQ(trashStatus(std::nullopt), "0 The file does not exist.");
  EXPECT_EQ(trashStatus(home("/Documents")), "0 The file does not exist.");
  scratch.directory("home/mounted");
  ASSERT_EQ(mount("none", mounted.c_str(), "tmpfs", 0, nullptr), 0);
  scratch.file("home/mounted/file");
  faults->fail("isWritable", 1, true);
  EXPECT_EQ(trashStatus(mounted), "0 Delete Access is not allowed.");
  EXPECT_EQ(trashStatus(mounted + "/file"), "0 Write Access is not allowed.");
  faults->clear();
  EXPECT_EQ(trashStatus(mounted + "/file"), "1 -");
  bundle->texts["Delete Access is not allowed."] = "Nicht erlaubt.";
  EXPECT_EQ(trashStatus(mounted, 1), "0 Nicht erlaubt.");
}

TEST_F(FinderToolsTest, HasTheInformationWindowShown) {
  EXPECT_FALSE(QVFinderTools::displayFinderGetInfoOfPath(std::nullopt));
  EXPECT_FALSE(QVFinderTools::displayFinderGetInfoOfPath(scratch.path("missing")));
  EXPECT_TRUE(desktop->shown.empty());
  const auto file = scratch.file("a \"quoted\" name");
  EXPECT_TRUE(QVFinderTools::displayFinderGetInfoOfPath(file));
  EXPECT_EQ(desktop->shown, std::vector<std::string>{file});
  EXPECT_TRUE(log->entries().empty());
  desktop->answer = platform::SystemError{"POSIX", 2, "no file manager"};
  EXPECT_FALSE(QVFinderTools::displayFinderGetInfoOfPath(file));
  EXPECT_EQ(log->count("aed==nil errorInfo:"), 1U);
}

TEST_F(FinderToolsTest, TellsFoldersAndVolumesFromFiles) {
  const auto folder = scratch.directory("a folder");
  const auto file = scratch.file("file");
  fs::create_directory_symlink(folder, scratch.path("link"));
  const auto isFolder = [](const std::string& path) {
    return QVFinderTools::isFinderFolderAtFileURL(extensions::fileUrl(path));
  };
  EXPECT_TRUE(isFolder(folder));
  EXPECT_TRUE(isFolder(folder + "/"));
  EXPECT_TRUE(isFolder("/"));
  EXPECT_FALSE(isFolder(file));
  EXPECT_FALSE(isFolder(scratch.path("link")));
  EXPECT_FALSE(isFolder(scratch.path("missing")));
  EXPECT_FALSE(QVFinderTools::isFinderFolderAtFileURL(std::nullopt));
  EXPECT_FALSE(QVFinderTools::isFinderFolderAtFileURL(folder)) << "a path is no URL";

  mounted = scratch.file("home/mounted");
  ASSERT_EQ(mount(file.c_str(), mounted.c_str(), nullptr, MS_BIND, nullptr), 0);
  EXPECT_TRUE(isFolder(mounted)) << "a volume of one file";
}

// --- Names that the system keeps for itself

// Whether a name is left out of folders, with an even mode and with an odd one; is kept at a
// volume's root; and at the start-up volume's, with mode 0 and with any other.
std::string rulesOf(const QVFinderTools::Text& name) {
  using Tools = QVFinderTools;
  std::string rules;
  for (const std::int64_t mode : {0, 1, 2, 3})
    rules += Tools::isSystemFileNameInFolder(name, mode) ? 'f' : '-';
  rules += Tools::isVolumeHiddenFilename(name) ? 'v' : '-';
  for (const std::int64_t mode : {0, 1, -2})
    rules += Tools::isVolumeSystemHiddenFilename(name, mode) ? 's' : '-';
  return rules;
}

// Some names of each rule, what looks like them, and what no file can be called.
TEST(HiddenNames, FollowTheirTableByNameAndMode) {
  using Names = std::vector<QVFinderTools::Text>;
  const std::pair<const char*, Names> table[] = {
      {"ffffvsss", {".file"}},
      {"ffff----", {".Trash", "File Transfer Folder\x03\r"}},
      {"f-f-----", {".DS_Store", "Icon\r"}},
      {"----vsss", {".vol", ".Trashes", ".HFS+ Private Directory Data\r"}},
      {"-----sss", {"dev", "mach", "Volumes"}},
      {"-----s--", {"etc", "usr", "private"}},
      {"--------",
       {"Icon", "Icon\n", ".ds_store", ".Trash ", "USR", ".", "File Transfer Folder",
        std::string(300, '.'), std::nullopt, "", std::string(".Trash\0", 7)}}};
  for (const auto& [rules, names] : table)
    for (const auto& name : names) EXPECT_EQ(rulesOf(name), rules) << name.value_or("nil");
}

TEST(HiddenNames, HaveALengthOfTheirOwn) {
  EXPECT_TRUE(QVIsFilenameHiddenExcluded(".Trashes", 6, 0));
  EXPECT_FALSE(QVIsFilenameHiddenExcluded(".Trash", 0, 0));
  EXPECT_TRUE(QVIsVolumeHiddenFilename(".Trashes and more", 8));
  EXPECT_TRUE(QVIsVolumeSystemHiddenFilename("usr/lib", 3, 0));
  EXPECT_FALSE(QVIsFilenameHiddenExcluded(nullptr, 6, 0));
  EXPECT_FALSE(QVIsVolumeHiddenFilename(nullptr, 4));
  EXPECT_FALSE(QVIsVolumeSystemHiddenFilename(nullptr, 3, 0));
}

}  // namespace
