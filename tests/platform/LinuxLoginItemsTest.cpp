#include "platform/linux/LinuxLoginItems.h"

#include "platform/linux/DesktopEntry.h"
#include "tests/support/Test.h"

using namespace platform;
namespace {

class LinuxLoginItemsTest : public testing::Test {
 protected:
  std::string entry(const std::string& name, const std::string& lines) const {
    return session.file(name, "[Desktop Entry]\nType=Application\n" + lines);
  }

  // "displayName path", with " stale" and the folder of the reference.
  std::vector<std::string> listed() const {
    const auto all = items.snapshot();
    EXPECT_TRUE(all) << all.error().text;
    std::vector<std::string> texts;
    for (const auto& item : all.value().value_or(std::vector<LoginItem>()))
      texts.push_back(item.displayName + " " + item.path.value_or("none") +
                      (item.stale ? " stale" : ""));
    return texts;
  }

  LoginItem only() const {
    const auto all = items.snapshot();
    EXPECT_EQ(all->size(), 1U);
    return all->empty() ? LoginItem() : all->front();
  }

  Scratch session;
  std::string program = session.executable("bin/helper", "");
  LinuxLoginItems items{{session.path("own/autostart"),
                         {session.path("local/autostart"), session.path("system/autostart")},
                         {session.path("nothing"), session.path("bin")}}};
  std::string file = session.path("own/autostart/helper.desktop");
};

TEST(LinuxExecLine, FindsTheProgramOfAValue) {
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"  /usr/bin/helper --now %u", "/usr/bin/helper"},
      {"/opt/a\\sb", "/opt/a"},
      {R"("/opt/a\\\\b\\"c\\$d\\`e" x)", R"(/opt/a\b"c$d`e)"},
      {R"("/opt/a\\qb")", R"(/opt/a\qb)"},
      {"/opt/100%%/run%f", "/opt/100%/run"},
      {"\"/opt/100%/a%%\" %U", "/opt/100%/a%"},
      {"env -i A=/b \"C=d e\" /snap/bin/helper x=y", "/snap/bin/helper"},
      {"./a/x=y", "./a/x=y"},
      {"\"/opt/open\\\\\"", std::nullopt},
      {"\"\" x", std::nullopt},
      {"env", std::nullopt},
      {"", std::nullopt}};
  for (const auto& [value, program] : cases) EXPECT_EQ(programOfExec(value), program) << value;
}

TEST(LinuxExecLine, WritesWhatItReads) {
  for (const std::string path :
       {"/a b/\"c\"/$HOME`x`/\\d\\\\e/100%/%%/\t\n\r\\s/=x", "/\u00e4'&;|<>~*?#()"}) {
    EXPECT_EQ(programOfExec(execOfProgram(path)), path);
    EXPECT_EQ(unescapedValue(escapedValue(path)), path);
    EXPECT_EQ(execOfProgram(path).find('\n'), std::string::npos);
  }
}

TEST_F(LinuxLoginItemsTest, SnapshotResolvesEachEntry) {
  entry("own/autostart/a.desktop", "Name=Something\nExec=helper --x %u\n");
  entry("own/autostart/b.desktop", "Exec=\"" + session.path("gone/helper") + "\"\n");
  entry("own/autostart/c.desktop", "Exec=" + program + "\nTryExec=missing\n");
  entry("own/autostart/d.desktop", "Exec=elsewhere\n");
  entry("own/autostart/e.desktop", "Exec=\"open\n");
  entry("own/autostart/f.desktop", "Hidden=true\nExec=helper\n");
  entry("own/autostart/g.desktop",
        "X-GNOME-Autostart-enabled=false\nTryExec=helper\nExec=helper\n");
  session.file("own/autostart/h.desktop", "[Desktop Action x]\nExec=helper\n");
  session.file("own/autostart/i.desktop", "[Desktop Entry]\nType=Link\nURL=x\nExec=helper\n");
  entry("own/autostart/k.txt", "Exec=helper\n");
  ASSERT_EQ(mkfifo(session.path("own/autostart/l.desktop").c_str(), 0600), 0);
  session.directory("own/autostart/m.desktop");
  session.file("own/autostart/n.desktop", std::string(2U << 20U, '\n'));
  const std::string linked = entry("applications/o.desktop", "Exec=helper\n#Exec=other\n");
  fs::create_symlink(linked, session.path("own/autostart/o.desktop"));
  EXPECT_EQ(listed(), (std::vector<std::string>{
                          "helper " + program, "helper " + session.path("gone/helper") + " stale",
                          "helper " + program + " stale", "elsewhere elsewhere stale", "e none",
                          "helper " + program, "h none", "helper " + program}));
}

TEST_F(LinuxLoginItemsTest, InsertsAnEntryThatMenusDoNotShow) {
  EXPECT_TRUE(items.insertHiddenAtEnd(program));
  EXPECT_EQ(readFile(file), "[Desktop Entry]\nType=Application\nName=helper\nExec=\"" + program +
                                "\"\nTryExec=" + program + "\nNoDisplay=true\n");
  EXPECT_TRUE(items.insertHiddenAtEnd(program));
  EXPECT_EQ(listed(), std::vector<std::string>{"helper " + program});

  fs::remove(program);
  EXPECT_EQ(listed(), std::vector<std::string>{"helper " + program + " stale"});
  EXPECT_TRUE(items.remove(only()));
  EXPECT_FALSE(fs::exists(file));
  EXPECT_FALSE(items.remove({"helper", file, program, false}));

  const std::string odd = session.executable("a \"b\" $c\\d%/helper", "");
  EXPECT_TRUE(items.insertHiddenAtEnd(odd));
  EXPECT_EQ(listed(), std::vector<std::string>{"helper " + odd});
}

TEST_F(LinuxLoginItemsTest, LeavesTheEntriesOfOthersAlone) {
  const std::string other = session.executable("bin/helper2", "");
  const std::string text = "# mine\r\n[Desktop Entry]\nExec = helper2 \n\n";
  session.file("own/autostart/helper.desktop", text);
  session.file("own/autostart/helper-2.desktop", "no entry at all");
  fs::create_symlink("/nonexistent", session.path("own/autostart/helper-3.desktop"));
  EXPECT_TRUE(items.insertHiddenAtEnd(program));
  EXPECT_EQ(readFile(file), text);
  EXPECT_EQ(readFile(session.path("own/autostart/helper-2.desktop")), "no entry at all");
  EXPECT_TRUE(fs::exists(session.path("own/autostart/helper-4.desktop")));
  EXPECT_EQ(listed(),
            (std::vector<std::string>{"helper-2 none", "helper " + program, "helper2 " + other}));
}

TEST_F(LinuxLoginItemsTest, KeepsWhatTheUserPutIntoAnEntry) {
  const std::string mine =
      "# my notes\n[Desktop Entry]\nName[de]=Helfer\nX-Delay = 5\nExec=" + program +
      " --no-menu\n\n\n[Desktop Action x]\nExec=other\nHidden=false";
  session.file("own/autostart/helper.desktop", mine);
  EXPECT_TRUE(items.remove(only()));
  EXPECT_TRUE(listed().empty());
  EXPECT_TRUE(items.insertHiddenAtEnd(program));
  std::string expected = mine;
  expected.insert(expected.find("\n\n\n["), "\nTryExec=" + program + "\nNoDisplay=true");
  EXPECT_EQ(readFile(file), expected);

  const std::string moved = session.executable("moved/helper", "");
  EXPECT_TRUE(items.insertHiddenAtEnd(moved));
  EXPECT_EQ(listed(), std::vector<std::string>{"helper " + moved}) << "takes the entry over";
}

TEST_F(LinuxLoginItemsTest, HidesFromTheUserWhatHoldsForAll) {
  const std::string shared = entry("local/autostart/helper.desktop", "X-Key=1\nExec=helper\n");
  entry("system/autostart/helper.desktop", "Exec=other\n");
  const std::string text = readFile(shared);
  EXPECT_EQ(listed(), std::vector<std::string>{"helper " + program});
  EXPECT_TRUE(items.remove(only()));
  EXPECT_TRUE(listed().empty());
  EXPECT_EQ(readFile(shared), text);
  EXPECT_EQ(readFile(file), text + "Hidden=true\n");
  EXPECT_TRUE(items.insertHiddenAtEnd(program));
  EXPECT_EQ(only().reference, file);
  // Deleting it would bring the one for all back.
  EXPECT_TRUE(items.remove(only()));
  EXPECT_TRUE(listed().empty());
}

TEST_F(LinuxLoginItemsTest, TakesALinkAwayAndNotItsTarget) {
  const std::string target = entry("applications/helper.desktop", "Exec=helper\n");
  const std::string text = readFile(target);
  session.directory("own/autostart");
  fs::create_symlink(target, file);
  EXPECT_TRUE(items.remove(only()));
  EXPECT_FALSE(fs::is_symlink(file));
  fs::create_symlink(target, file);
  EXPECT_TRUE(items.insertHiddenAtEnd(program));
  EXPECT_FALSE(fs::is_symlink(file));
  EXPECT_EQ(readFile(target), text);
}

TEST_F(LinuxLoginItemsTest, SaysWhichFolderCannotBeWritten) {
  const std::string folder = session.directory("own/autostart");
  entry("own/autostart/helper.desktop", "Exec=helper\n");
  ASSERT_EQ(mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr), 0);
  ASSERT_EQ(mount(nullptr, folder.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
  const std::string before = readFile(file);
  for (const Outcome& refused : {items.insertHiddenAtEnd(program), items.remove(only()),
                                 items.insertHiddenAtEnd(session.path("bin/new"))}) {
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, EROFS);
    EXPECT_NE(refused.error().text.find(folder), std::string::npos) << refused.error().text;
  }
  EXPECT_EQ(readFile(file), before);

  LinuxLoginItems none({"", {}, {}});
  EXPECT_FALSE(none.insertHiddenAtEnd(program));
  EXPECT_TRUE(none.snapshot()->empty());
}

}  // namespace
