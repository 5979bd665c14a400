#include <gtest/gtest.h>

#include <filesystem>

#include "ramdisk/RegistryFile.h"
#include "tests/cli/Shell.h"
#include "tests/support/OtherProgram.h"

namespace {

struct Case {
  std::vector<std::string> args;
  int status;
  std::string err;  // all of it
};

std::string joined(const std::vector<std::string>& args) {
  std::string line;
  for (const auto& arg : args) line += arg + " ";
  return line;
}

// Each case is refused with its one line and leaves the registry byte for byte as it was.
void expectRefused(Shell& shell, const std::vector<Case>& cases) {
  const std::string before = shell.registry();
  const auto posted = shell.doubles.notifications->posted.size();
  for (const auto& refused : cases) {
    const auto outcome = shell.run(refused.args);
    EXPECT_EQ(outcome.status, refused.status) << joined(refused.args);
    EXPECT_EQ(outcome.err, "tarnvale: " + refused.err + "\n") << joined(refused.args);
    EXPECT_EQ(outcome.out, "") << joined(refused.args);
    EXPECT_EQ(shell.registry(), before) << joined(refused.args);
  }
  EXPECT_EQ(shell.doubles.notifications->posted.size(), posted);
}

std::string listJson(Shell& shell) { return shell.run({"list", "--json"}).out; }

}  // namespace

TEST(Usage, ExplainsItselfAndRefusesTheRest) {
  Shell shell;
  shell.doubles.bundle->infos["CFBundleShortVersionString"] = "9.8";
  EXPECT_EQ(shell.run({"--version"}).out, "tarnvale 9.8\n");
  const auto help = shell.run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("4 refused by validation"), std::string::npos);
  EXPECT_NE(shell.run({"add", "--help"}).out.find("--backup-dir"), std::string::npos);
  expectRefused(
      shell,
      {{{}, 2, "what is to be done is missing; 'tarnvale --help' shows how"},
       {{"fly"}, 2, "there is no verb \"fly\"; 'tarnvale --help' shows how"},
       {{"list", "--yaml"},
        2,
        "The following argument was not expected: --yaml; 'tarnvale list --help' shows how"},
       {{"create"},
        2,
        "no disk is named; write 'tarnvale create DISK...' or 'tarnvale create --all'"},
       {{"create", "x", "--all"},
        2,
        "--all goes without names; write 'tarnvale create DISK...' or 'tarnvale create --all'"},
       {{"show"}, 2, "name the disks to show or give --all"},
       {{"create", "x"}, 3, "there is no disk \"x\"; 'tarnvale list' shows what there is"},
       {{"move", "x", "second"},
        2,
        "Could not convert: POSITION = second; 'tarnvale move --help' shows how"}});
}

TEST(Add, TakesADirectoryAndItsContents) {
  Shell shell;
  shell.scratch.directory("desk/cache");
  const auto added = shell.run({"add", "~~/desk/../desk/cache/", "--size", "256M", "--at-login",
                                "--post-command", "sh -c \"echo a b\""});
  EXPECT_EQ(added.out, "cache: added, 256 MB, to be mounted at ~~/desk/cache\n");
  EXPECT_EQ(added.err, "");
  ASSERT_EQ(shell.doubles.notifications->posted.size(), 1U);
  EXPECT_EQ(shell.doubles.notifications->posted[0].object, "Tarnvale-App");

  auto json = listJson(shell);
  const auto identifier = valuesOf(json, "identifier").at(0);
  EXPECT_EQ(identifier.size(), 38U);
  json.replace(json.find(identifier), identifier.size(), "ID");
  const std::string shellPath = std::filesystem::exists("/usr/bin/sh") ? "/usr/bin/sh" : "/bin/sh";
  EXPECT_EQ(json, R"([
  {
    "name": "cache",
    "identifier": ID,
    "type": "plain",
    "size": 256000000,
    "status": "notCreated",
    "deviceNode": null,
    "path": null,
    "volSize": 0,
    "volFree": 0,
    "mountDirectory": "~~/desk",
    "backupMode": "base",
    "backupDirectory": null,
    "createAtLogin": true,
    "format": "hfs+",
    "index": "unchanged",
    "measuresBase": true,
    "simulator": null,
    "postCommand": ")" +
                      shellPath + R"(",
    "postCommandArguments": [
      "-c",
      "echo a b"
    ],
    "lastError": null
  }
]
)");
  EXPECT_EQ(shell.run({"list"}).out,
            "NAME   KIND   SIZE    STATUS       USED  MOUNTED ON\n"
            "cache  plain  256 MB  not created  -     -\n");
  EXPECT_EQ(shell.run({"list", "--names"}).out, "cache\n");
  const auto shown = shell.run({"show", "ca"}).out;
  EXPECT_NE(shown.find("Place          ~~/desk/cache\n"), std::string::npos) << shown;
  EXPECT_NE(shown.find("Post-command   " + shellPath + " -c \"echo a b\"\n"), std::string::npos)
      << shown;
}

TEST(Add, WrongInputChangesNothing) {
  Shell shell;
  shell.doubles.machine->memory = 8ULL << 30U;
  shell.doubles.places->protectedPaths = {shell.scratch.path("system")};
  shell.scratch.directory("desk/cache");
  shell.scratch.directory("system/x");
  shell.scratch.file("desk/file");
  std::filesystem::create_directory_symlink("cache", shell.scratch.path("desk/link"));
  std::filesystem::create_directory_symlink("desk", shell.scratch.path("alias"));
  ASSERT_EQ(shell.run({"add", "~~/desk/cache"}).status, 0);
  const std::string sizes =
      " is not a size of a disk; sizes look like 512M, 1.5G, 800MB (decimal), 2GiB (binary) or "
      "plain bytes, from 128M to 128G";
  const std::string taken =
      "the disk cache has its place at ~~/desk/cache already; choose another name or directory, or "
      "change that one";
  expectRefused(
      shell,
      {{{"add", "~~/none"}, 4, "there is no directory ~~/none; make it first or choose another"},
       {{"add", "~~/desk/file"}, 4, "~~/desk/file is not a directory; choose a directory"},
       {{"add", "/"}, 4, "a disk cannot replace the root directory; choose a directory"},
       {{"add", "--name", "a/b"},
        4,
        "The name contains invalid character; choose a name without slashes, control characters "
        "and the like"},
       {{"add", "--name", "  "}, 4, "Please, specify a name of RamDisk; give it one with --name"},
       {{"add", "--size", "0"}, 2, "\"0\"" + sizes},
       {{"add", "--size", "-1"}, 2, "\"-1\"" + sizes},
       {{"add", "--size", "10E"}, 2, "\"10E\"" + sizes},
       {{"add", "--size", "127M"},
        4,
        "Please, specify a correct size of RamDisk; choose from 128M to 128G"},
       {{"add", "--size", "16GiB"},
        4,
        "Insuffisant computer memory; choose a smaller size; this machine has 8.59 GB"},
       {{"add", "--directory", "~~/none"},
        4,
        "~~/none: The mount directory does not exist; make it first or choose another"},
       {{"add", "--directory", "~~/desk/file"},
        4,
        "~~/desk/file: The mount directory is not a directory; choose a directory"},
       {{"add", "~~/system/x"},
        4,
        "~~/system: The mount directory can not be a system directory; choose one of your own"},
       {{"add", "~~/desk/cache"}, 4, taken},
       {{"add", "~~/desk/link"}, 4, taken},
       {{"add", "~~/alias/cache"}, 4, taken},
       {{"add", "~~/desk/cache", "--name", "x"},
        2,
        "a path stands for both --name and --directory; leave these or the path out"},
       {{"add", "--backup", "base"},
        4,
        "there is no directory to write the contents back to; give one with --directory or choose "
        "another --backup"},
       {{"add", "--backup", "directory"},
        2,
        "there is no directory to keep the contents in; give one with --backup-dir"},
       {{"add", "--backup-dir", "~~/none"},
        4,
        "the backup directory ~~/none is not there; make it first or choose another"},
       {{"add", "--directory", "~~/desk", "--name", "n", "--backup-dir", "~~/desk", "--backup",
         "none"},
        2,
        "--backup-dir goes with --backup directory only; leave one of the two out"},
       {{"add", "--post-command", "~~/desk/file x"},
        4,
        "the post-command ~~/desk/file: The file path is not executable; give the path of an "
        "executable"},
       {{"add", "--kind", "firefox"},
        4,
        "the application of the kind firefox is not installed, or its version is not supported; "
        "'tarnvale kinds' shows what can be used"},
       {{"add", "--kind", "ship"},
        2,
        "--kind: ship not in "
        "{plain,safari,xcode,ios-simulator,core-simulator,appcode,firefox,chrome,opera}; 'tarnvale "
        "add --help' shows how"}});

  for (int i = 1; i < 15; ++i)
    ASSERT_EQ(shell.run({"add", "--name", "disk" + std::to_string(i)}).status, 0);
  expectRefused(shell, {{{"add", "--name", "sixteenth"},
                         4,
                         "there are 15 disks already, the most there can be; remove one first with "
                         "'tarnvale remove'"}});
}

TEST(Add, BackupMayNotLieOnTheDiskItself) {
  Shell shell;
  shell.scratch.directory("desk/cache/kept");
  expectRefused(shell, {{{"add", "~~/desk/cache", "--backup-dir", "~~/desk/cache/kept"},
                         4,
                         "the backup directory ~~/desk/cache/kept lies on the disk itself; choose "
                         "one outside of it"}});
  EXPECT_EQ(shell.run({"add", "~~/desk/cache", "--backup-dir", "~~/desk"}).status, 0);
}

TEST(Kinds, ComeFromTheTable) {
  Shell shell;
  const auto caches = shell.scratch.directory("home/caches");
  platform::KindFacts firefox;
  firefox.type = QVRamDiskType_Firefox;
  firefox.application.bundleIdentifier = "org.mozilla.firefox";
  firefox.application.runningIdentifiers = {"org.mozilla.firefox"};
  firefox.preset = {{{}}, "fox", caches, 1'000'000'000, ""};
  platform::KindFacts opera;
  opera.type = QVRamDiskType_Opera;
  opera.preset.checks = {{platform::PresetCheck::Test::Application, -1, "", {}, 0, ""}};
  shell.doubles.places->kinds = {firefox, opera};
  shell.doubles.applications->paths["org.mozilla.firefox"] = shell.scratch.file("fox", "x");
  shell.doubles.applications->applications = {{1, "org.mozilla.firefox", "Firefox"}};

  const auto kinds = shell.run({"kinds"}).out;
  for (const char* part :
       {"plain    available ", "firefox  available      fox   1 GB  ~~/home/caches",
        "  Firefox is running\n", "opera    not installed  -     -     -"})
    EXPECT_NE(kinds.find(part), std::string::npos) << kinds;
  const auto json = shell.run({"kinds", "--json"}).out;
  EXPECT_EQ(valuesOf(json, "available"), (std::vector<std::string>{"true", "true", "false"}));
  EXPECT_EQ(valuesOf(json, "size"), (std::vector<std::string>{"null", "1000000000", "null"}));

  EXPECT_EQ(shell.run({"add", "--kind", "firefox", "--backup", "base", "--size", "500M"}).out,
            "fox: added, 500 MB, to be mounted at ~~/home/caches/fox\n");
  expectRefused(shell, {{{"add", "--kind", "firefox", "--name", "x"},
                         2,
                         "a disk of the kind firefox has the name and the directory of its "
                         "application; leave --name, --directory and the path out"},
                        {{"create", "fox"}, 4, "fox: Firefox is running; quit it first"}});
}

TEST(Names, AreFoundByRank) {
  Shell shell;
  for (const char* name : {"cache", "cache2", "Build"})
    ASSERT_EQ(shell.run({"add", "--name", name}).status, 0);
  const auto identifiers = valuesOf(listJson(shell), "identifier");
  std::string build = identifiers.at(2).substr(1, 36);
  const auto shownName = [&](const std::string& asked) {
    const auto names = valuesOf(shell.run({"show", "--json", asked}).out, "name");
    return names.size() == 1 ? names[0] : "";
  };
  EXPECT_EQ(shownName("cache"), "\"cache\"") << "a whole name goes before a beginning";
  EXPECT_EQ(shownName("cache2"), "\"cache2\"");
  EXPECT_EQ(shownName("Bu"), "\"Build\"");
  EXPECT_EQ(shownName(build), "\"Build\"");
  std::transform(build.begin(), build.end(), build.begin(),
                 [](char c) { return static_cast<char>(std::tolower(c)); });
  EXPECT_EQ(shownName(build), "\"Build\"");
  EXPECT_EQ(shownName(build.substr(0, 12)), "\"Build\"");
  EXPECT_EQ(shell.run({"show", "bu"}).status, 3) << "names mind case";
  EXPECT_EQ(shell.run({"show", ""}).status, 3);
  const auto ambiguous = shell.run({"show", "cac"});
  EXPECT_EQ(ambiguous.status, 3);
  EXPECT_NE(ambiguous.err.find("\"cac\" could be any of cache ("), std::string::npos)
      << ambiguous.err;
  EXPECT_EQ(valuesOf(shell.run({"show", "--json", "Build", "cache", "Bu"}).out, "name"),
            (std::vector<std::string>{"\"Build\"", "\"cache\""}));
}

TEST(Set, ChangesOrRefuses) {
  Shell shell;
  shell.scratch.directory("desk/cache");
  for (const char* name : {"one", "two"}) ASSERT_EQ(shell.run({"add", "--name", name}).status, 0);
  EXPECT_EQ(shell
                .run({"set", "two", "--directory", "~~/desk", "--name", "cache", "--size", "1GiB",
                      "--backup", "support", "--index", "off", "--format", "case-sensitive",
                      "--no-measure"})
                .out,
            "cache: changed\n");
  const auto json = listJson(shell);
  const std::pair<const char*, const char*> expected[] = {
      {"name", "\"cache\""},    {"mountDirectory", "\"~~/desk\""},
      {"size", "1073741824"},   {"backupMode", "\"support\""},
      {"index", "\"off\""},     {"format", "\"case-sensitive\""},
      {"measuresBase", "false"}};
  for (const auto& [key, value] : expected) EXPECT_EQ(valuesOf(json, key).at(1), value) << key;
  expectRefused(shell, {{{"set", "one", "--directory", "~~/desk", "--name", "cache"},
                         4,
                         "the disk cache has its place at ~~/desk/cache already; choose another "
                         "name or directory, or change that one"},
                        {{"set", "one", "--backup", "base"},
                         4,
                         "there is no directory to write the contents back to; give one with "
                         "--directory or choose another --backup"}});

  // A set-aside base binds its disk to its place.
  ASSERT_EQ(shell.run({"set", "cache", "--backup", "base"}).status, 0);
  shell.scratch.directory("desk/cache (Tarnvale Backup Base)");
  const std::string aside =
      "cache: the directory's own contents still lie aside in ~~/desk/cache (Tarnvale Backup "
      "Base); "
      "create and eject the disk to put them back, or move them yourself";
  expectRefused(shell, {{{"set", "cache", "--name", "other"}, 4, aside},
                        {{"set", "cache", "--backup", "none"}, 4, aside},
                        {{"remove", "cache"}, 4, aside}});
  EXPECT_EQ(shell.run({"set", "cache", "--at-login"}).status, 0);
}

TEST(List, IsOrderedAndShrinks) {
  Shell shell;
  for (const char* name : {"a", "b", "c", "d"})
    ASSERT_EQ(shell.run({"add", "--name", name}).status, 0);
  const std::tuple<const char*, const char*, const char*> moves[] = {{"a", "4", "b\nc\nd\na\n"},
                                                                     {"a", "1", "a\nb\nc\nd\n"},
                                                                     {"b", "3", "a\nc\nb\nd\n"},
                                                                     {"b", "3", "a\nc\nb\nd\n"},
                                                                     {"d", "2", "a\nd\nc\nb\n"}};
  for (const auto& [name, position, order] : moves) {
    ASSERT_EQ(shell.run({"move", name, position}).status, 0);
    EXPECT_EQ(shell.run({"list", "--names"}).out, order) << name << " " << position;
  }
  expectRefused(shell, {{{"move", "a", "0"}, 2, "there is no position 0; choose from 1 to 4"},
                        {{"move", "a", "5"}, 2, "there is no position 5; choose from 1 to 4"}});
  EXPECT_EQ(shell.run({"remove", "a", "c"}).out, "a: removed\nc: removed\n");
  EXPECT_EQ(shell.run({"list", "--names"}).out, "d\nb\n");
}

TEST(Remove, AsksBeforeABackupGoes) {
  Shell shell;
  ASSERT_EQ(shell.run({"add", "--name", "kept"}).status, 0);
  const std::string identifier = valuesOf(listJson(shell), "identifier").at(0).substr(1, 36);
  const std::string folder = shell.scratch.directory("home/support/com.tarnvale.Tarnvale/" +
                                                     identifier + ".TarnvaleBackup");
  expectRefused(
      shell,
      {{{"remove", "kept"}, 2, "deleting the backup of kept needs a confirmation; add --yes"}});
  const auto no = shell.run({"remove", "kept"}, "n\n", true);
  EXPECT_EQ(no.status, 1);
  EXPECT_EQ(no.err, "deleting the backup of kept? [y/N] tarnvale: nothing was changed\n");
  EXPECT_TRUE(std::filesystem::exists(folder));
  EXPECT_EQ(shell.run({"remove", "kept"}, "y\n", true).status, 0);
  EXPECT_FALSE(std::filesystem::exists(folder));
  EXPECT_EQ(shell.run({"list", "--json"}).out, "[]\n");
}

TEST(MenuBar, IsKeptInTheRegistry) {
  Shell shell;
  EXPECT_EQ(shell.run({"menu-bar"}).out, "menu bar off, at login off\n");
  EXPECT_EQ(shell.run({"menu-bar", "on", "--at-login"}).out, "menu bar on, at login on\n");
  EXPECT_EQ(shell.run({"menu-bar", "off"}).out, "menu bar off, at login on\n");
  EXPECT_EQ(shell.run({"menu-bar", "--no-at-login"}).out, "menu bar off, at login off\n");
  EXPECT_EQ(shell.run({"menu-bar", "maybe"}).status, 2);
  EXPECT_EQ(shell.doubles.notifications->posted.size(), 3U);
}

TEST(SessionSave, IsOnUntilItIsTurnedOff) {
  Shell shell;
  EXPECT_EQ(shell.run({"session-save"}).out, "saving at the session's end on\n");
  EXPECT_TRUE(shell.doubles.notifications->posted.empty()) << "asking changes nothing";
  EXPECT_EQ(shell.run({"session-save", "off"}).out, "saving at the session's end off\n");
  ASSERT_EQ(shell.run({"add", "--name", "x"}).status, 0);
  EXPECT_EQ(shell.run({"session-save"}).out, "saving at the session's end off\n");
  EXPECT_EQ(shell.run({"session-save", "on"}).out, "saving at the session's end on\n");
  EXPECT_EQ(shell.run({"session-save", "maybe"}).status, 2);
  EXPECT_EQ(shell.doubles.notifications->posted.size(), 3U);
}

TEST(Registry, ThatCannotBeReadStopsEveryCommand) {
  Shell shell;
  ASSERT_EQ(shell.run({"add", "--name", "x"}).status, 0);
  shell.scratch.file("home/support/com.tarnvale.Tarnvale/RamDiskEntries", "<plist><dict><key>Ram");
  const std::string problem =
      "the registry ~~/home/support/com.tarnvale.Tarnvale/RamDiskEntries cannot be read; restore "
      "it "
      "from a backup or move it away to start with an empty list";
  std::vector<Case> cases;
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"list"},
                                             {"show", "x"},
                                             {"add", "--name", "y"},
                                             {"set", "x", "--at-login"},
                                             {"remove", "x"},
                                             {"move", "x", "1"},
                                             {"create", "--all"},
                                             {"menu"},
                                             {"menu-bar", "on"},
                                             {"session-save", "off"}})
    cases.push_back({args, 1, problem});
  expectRefused(shell, cases);
  for (const auto& item : std::filesystem::directory_iterator(
           shell.scratch.path("home/support/com.tarnvale.Tarnvale")))
    EXPECT_TRUE(item.path().stem() == "RamDiskEntries" && item.path().extension() != ".damaged")
        << "nothing but the lock is made beside it: " << item.path();
}

TEST(Registry, ThatCannotBeChangedIsNamed) {
  Shell shell;
  ASSERT_EQ(shell.run({"add", "--name", "x"}).status, 0);
  const std::string lock = shell.registryPath() + ".lock";
  const std::vector<std::vector<std::string>> changes = {
      {"add", "--name", "y"}, {"set", "x", "--at-login"}, {"remove", "x"},
      {"move", "x", "1"},     {"menu-bar", "on"},         {"session-save", "off"}};
  const auto expectEachRefused = [&](const std::string& problem) {
    std::vector<Case> cases;
    for (const auto& args : changes) cases.push_back({args, 1, problem});
    expectRefused(shell, cases);
  };
  OtherProgram other([&](OtherProgram& self) {
    const auto held = RegistryLock::take(shell.registryPath(), {});
    self.tell();
    return OtherProgram::hang();
  });
  ASSERT_TRUE(other.waitUntilTold());
  shell.clockStands = true;
  const std::string path = "~~/home/support/com.tarnvale.Tarnvale/RamDiskEntries";
  expectEachRefused(
      "another program keeps the registry locked and does not come to an end; end it and try "
      "again; 'fuser " +
      path + ".lock' shows which it is");
  EXPECT_EQ(shell.run({"list"}).status, 0);
  other.kill();
  std::filesystem::remove(lock);
  shell.scratch.directory("home/support/com.tarnvale.Tarnvale/RamDiskEntries.lock");
  expectEachRefused("the registry " + path + " cannot be written (" + path +
                    ".lock: Is a directory); check the permissions of this file and of its "
                    "folder, and the free space there");
}
