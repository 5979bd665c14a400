#include <gtest/gtest.h>

#include <filesystem>

#include "ramdisk/RegistryFile.h"
#include "tests/cli/Shell.h"
#include "tests/support/OtherProgram.h"

namespace {

std::string listJson(Shell& shell) { return shell.run({"list", "--json"}).out; }

TEST(Usage, ExplainsItselfAndRefusesTheRest) {
  Shell shell;
  shell.doubles.bundle->infos["CFBundleShortVersionString"] = "9.8";
  EXPECT_EQ(shell.run({"--version"}).out, "tarnvale 9.8\n");
  const auto help = shell.run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("4 refused by validation"), std::string::npos);
  EXPECT_NE(shell.run({"add", "--help"}).out.find("--backup-dir"), std::string::npos);
  expectRefused(shell, R"(
2  => what is to be done is missing; 'tarnvale --help' shows how
2 fly => there is no verb "fly"; 'tarnvale --help' shows how
2 list --yaml => The following argument was not expected: --yaml; 'tarnvale list --help' shows how
2 create => no disk is named; write 'tarnvale create DISK...' or 'tarnvale create --all'
2 create x --all => --all goes without names; write 'tarnvale create DISK...' or 'tarnvale create --all'
2 show => name the disks to show or give --all
3 create x => there is no disk "x"; 'tarnvale list' shows what there is
2 move x second => Could not convert: POSITION = second; 'tarnvale move --help' shows how
)");
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
  shell.scratch.directory("desk/kept/in");
  shell.scratch.file("desk/file");
  std::filesystem::create_directory_symlink("cache", shell.scratch.path("desk/link"));
  std::filesystem::create_directory_symlink("desk", shell.scratch.path("alias"));
  ASSERT_EQ(shell.run({"add", "~~/desk/cache"}).status, 0);
  expectRefused(shell, R"(
4 add ~~/none => there is no directory ~~/none; make it first or choose another
4 add ~~/desk/file => ~~/desk/file is not a directory; choose a directory
4 add / => a disk cannot replace the root directory; choose a directory
4 add --name a/b => The name contains invalid character; choose a name without slashes, control characters and the like
4 add --name "  " => Please, specify a name of RamDisk; give it one with --name
2 add --size 0 => "0" is not a size of a disk; sizes look like 512M, 1.5G, 800MB (decimal), 2GiB (binary) or plain bytes, from 128M to 128G
2 add --size -1 => "-1" is not a size of a disk; sizes look like 512M, 1.5G, 800MB (decimal), 2GiB (binary) or plain bytes, from 128M to 128G
4 add --size 127M => Please, specify a correct size of RamDisk; choose from 128M to 128G
4 add --size 16GiB => Insuffisant computer memory; choose a smaller size; this machine has 8.59 GB
4 add --directory ~~/none => ~~/none: The mount directory does not exist; make it first or choose another
4 add --directory ~~/desk/file => ~~/desk/file: The mount directory is not a directory; choose a directory
4 add ~~/system/x => ~~/system: The mount directory can not be a system directory; choose one of your own
4 add ~~/desk/cache => the disk cache has its place at ~~/desk/cache already; choose another name or directory, or change that one
4 add ~~/desk/link => the disk cache has its place at ~~/desk/cache already; choose another name or directory, or change that one
4 add ~~/alias/cache => the disk cache has its place at ~~/desk/cache already; choose another name or directory, or change that one
2 add ~~/desk/cache --name x => a path stands for both --name and --directory; leave these or the path out
4 add --backup base => there is no directory to write the contents back to; give one with --directory or choose another --backup
2 add --backup directory => there is no directory to keep the contents in; give one with --backup-dir
4 add --backup-dir ~~/none => the backup directory ~~/none is not there; make it first or choose another
2 add --directory ~~/desk --name n --backup-dir ~~/desk --backup none => --backup-dir goes with --backup directory only; leave one of the two out
4 add --name kept --directory ~~/desk --backup-dir ~~/desk/kept/in => the backup directory ~~/desk/kept/in lies on the disk itself; choose one outside of it
4 add --post-command "~~/desk/file x" => the post-command ~~/desk/file: The file path is not executable; give the path of an executable
4 add --kind firefox => the application of the kind firefox is not installed, or its version is not supported; 'tarnvale kinds' shows what can be used
2 add --kind ship => --kind: ship not in {plain,safari,xcode,ios-simulator,core-simulator,appcode,firefox,chrome,opera}; 'tarnvale add --help' shows how
)");

  for (int i = 1; i < 15; ++i)
    ASSERT_EQ(shell.run({"add", "--name", "disk" + std::to_string(i)}).status, 0);
  expectRefused(shell, R"(
4 add --name sixteenth => there are 15 disks already, the most there can be; remove one first with 'tarnvale remove'
)");
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
  expectRefused(shell, R"(
2 add --kind firefox --name x => a disk of the kind firefox has the name and the directory of its application; leave --name, --directory and the path out
4 create fox => fox: Firefox is running; quit it first
)");
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
  expectRefused(shell, R"(
4 set one --directory ~~/desk --name cache => the disk cache has its place at ~~/desk/cache already; choose another name or directory, or change that one
4 set one --backup base => there is no directory to write the contents back to; give one with --directory or choose another --backup
)");

  // A set-aside base binds its disk to its place.
  ASSERT_EQ(shell.run({"set", "cache", "--backup", "base"}).status, 0);
  shell.scratch.directory("desk/cache (Tarnvale Backup Base)");
  expectRefused(shell, R"(
4 set cache --name other => cache: the directory's own contents still lie aside in ~~/desk/cache (Tarnvale Backup Base); create and eject the disk to put them back, or move them yourself
4 set cache --backup none => cache: the directory's own contents still lie aside in ~~/desk/cache (Tarnvale Backup Base); create and eject the disk to put them back, or move them yourself
4 remove cache => cache: the directory's own contents still lie aside in ~~/desk/cache (Tarnvale Backup Base); create and eject the disk to put them back, or move them yourself
)");
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
  expectRefused(shell, R"(
2 move a 0 => there is no position 0; choose from 1 to 4
2 move a 5 => there is no position 5; choose from 1 to 4
)");
  EXPECT_EQ(shell.run({"remove", "a", "c"}).out, "a: removed\nc: removed\n");
  EXPECT_EQ(shell.run({"list", "--names"}).out, "d\nb\n");
}

TEST(Remove, AsksBeforeABackupGoes) {
  Shell shell;
  ASSERT_EQ(shell.run({"add", "--name", "kept"}).status, 0);
  const std::string identifier = valuesOf(listJson(shell), "identifier").at(0).substr(1, 36);
  const std::string folder = shell.scratch.directory("home/support/com.tarnvale.Tarnvale/" +
                                                     identifier + ".TarnvaleBackup");
  expectRefused(shell, R"(
2 remove kept => deleting the backup of kept needs a confirmation; add --yes
)");
  const auto no = shell.run({"remove", "kept"}, "n\n", true);
  EXPECT_EQ(no.status, 1);
  EXPECT_EQ(no.err, "deleting the backup of kept? [y/N] tarnvale: nothing was changed\n");
  EXPECT_TRUE(std::filesystem::exists(folder));
  EXPECT_EQ(shell.run({"remove", "kept"}, "y\n", true).status, 0);
  EXPECT_FALSE(std::filesystem::exists(folder));
  EXPECT_EQ(shell.run({"list", "--json"}).out, "[]\n");
}

TEST(Switches, AreKeptInTheRegistryAndTellOthers) {
  Shell shell;
  const std::pair<const char*, const char*> commands[] = {
      {"menu-bar", "menu bar off, at login off\n"},
      {"menu-bar on --at-login", "menu bar on, at login on\n"},
      {"menu-bar off", "menu bar off, at login on\n"},
      {"menu-bar --no-at-login", "menu bar off, at login off\n"},
      {"menu-bar maybe", ""},
      {"session-save", "saving at the session's end on\n"},
      {"session-save off", "saving at the session's end off\n"},
      {"add --name x", "x: added, 1 GB, to be mounted at ~~/Volumes/x\n"},
      {"session-save", "saving at the session's end off\n"},
      {"session-save on", "saving at the session's end on\n"},
      {"session-save maybe", ""}};
  for (const auto& [command, said] : commands)
    EXPECT_EQ(shell.run(settings::wordsOfCommand(command)).out, said) << command;
  EXPECT_EQ(shell.doubles.notifications->posted.size(), 3U + 3U) << "asking changes nothing";
}

TEST(Registry, ThatCannotBeReadStopsEveryCommand) {
  Shell shell;
  ASSERT_EQ(shell.run({"add", "--name", "x"}).status, 0);
  shell.scratch.file("home/support/com.tarnvale.Tarnvale/RamDiskEntries", "<plist><dict><key>Ram");
  const std::string problem =
      "the registry ~~/home/support/com.tarnvale.Tarnvale/RamDiskEntries cannot be read; restore "
      "it from a backup or move it away to start with an empty list";
  expectEachRefused(shell,
                    {"list", "show x", "add --name y", "set x --at-login", "remove x", "move x 1",
                     "create --all", "menu", "menu-bar on", "session-save off"},
                    problem);
  for (const auto& item : std::filesystem::directory_iterator(
           shell.scratch.path("home/support/com.tarnvale.Tarnvale")))
    EXPECT_TRUE(item.path().stem() == "RamDiskEntries" && item.path().extension() != ".damaged")
        << "nothing but the lock is made beside it: " << item.path();
}

TEST(Registry, ThatCannotBeChangedIsNamed) {
  Shell shell;
  ASSERT_EQ(shell.run({"add", "--name", "x"}).status, 0);
  const std::string lock = shell.registryPath() + ".lock";
  const std::vector<std::string> changes = {"add --name y", "set x --at-login", "remove x",
                                            "move x 1",     "menu-bar on",      "session-save off"};
  OtherProgram other([&](OtherProgram& self) {
    const auto held = RegistryLock::take(shell.registryPath(), {});
    self.tell();
    return OtherProgram::hang();
  });
  ASSERT_TRUE(other.waitUntilTold());
  shell.clockStands = true;
  const std::string path = "~~/home/support/com.tarnvale.Tarnvale/RamDiskEntries";
  expectEachRefused(
      shell, changes,
      "another program keeps the registry locked and does not come to an end; end it and try "
      "again; 'fuser " +
          path + ".lock' shows which it is");
  EXPECT_EQ(shell.run({"list"}).status, 0);
  other.kill();
  std::filesystem::remove(lock);
  shell.scratch.directory("home/support/com.tarnvale.Tarnvale/RamDiskEntries.lock");
  expectEachRefused(shell, changes,
                    "the registry " + path + " cannot be written (" + path +
                        ".lock: Is a directory); check the permissions of this file and of its "
                        "folder, and the free space there");
}

}  // namespace
