#include <poll.h>
#include <systemd/sd-bus.h>

#include "extensions/PathExtension.h"
#include "leaf/Descriptor.h"
#include "platform/linux/LinuxApplications.h"
#include "platform/linux/LinuxWorkspace.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

using namespace platform;

namespace {

constexpr char kActivityMonitor[] = "com.apple.ActivityMonitor";

// A desktop made up in a folder. Its programs are scripts that tell through a pipe how they were
// started.
class LinuxWorkspaceTest : public testing::Test {
 protected:
  LinuxWorkspaceTest() {
    EXPECT_EQ(mkfifo(desktop.path("told").c_str(), 0600), 0);
    desktop.directory("home");
  }

  // A program that tells its own name and each argument on a line of its own.
  std::string program(const std::string& name, const std::string& more = {}) const {
    return desktop.executable(name, "#!/bin/sh\nexec >" + desktop.path("told") +
                                        "\nprintf '%s\\n' \"${0##*/}\" \"$@\"\n" + more + "\n");
  }

  void entry(const std::string& name, const std::string& executable) const {
    desktop.file("share/applications/" + name + ".desktop",
                 "[Desktop Entry]\nType=Application\nName=X\nExec=" + executable + " %U\n");
  }

  // What one program tells, from its start to its end. It waits for its reader.
  std::string told() const {
    const Descriptor reading(
        ::open(desktop.path("told").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    pollfd waiting{reading.get(), POLLIN, 0};
    EXPECT_EQ(poll(&waiting, 1, 60'000), 1) << "nothing was started";
    EXPECT_EQ(fcntl(reading.get(), F_SETFL, 0), 0);
    std::string text;
    for (char c = 0; read(reading.get(), &c, 1) == 1;) text += c;
    return text;
  }

  Scratch desktop;
  ApplicationFolders folders{{desktop.path("share/applications")}, {desktop.path("bin")}};
  LinuxApplications applications{folders};
  LinuxWorkspace workspace{
      {.applications = folders, .sessionBus = {}, .home = desktop.path("home")}};
};

TEST_F(LinuxWorkspaceTest, HandsPathsAndUrlsOverAsTheyAre) {
  program("bin/xdg-open");
  const std::string strange = "home/-a 'b' \"c\" $(touch d); #%20ü\\";
  const auto file = desktop.file(strange);
  EXPECT_TRUE(workspace.open(file));
  EXPECT_EQ(told(), "xdg-open\n" + file + "\n");
  EXPECT_TRUE(workspace.openURL(extensions::fileUrl(file)));
  EXPECT_EQ(told(), "xdg-open\n" + file + "\n");
  EXPECT_TRUE(workspace.open(desktop.path("home")));
  EXPECT_EQ(told(), "xdg-open\n" + desktop.path("home") + "\n");
  for (const std::string url : {"https://example.org/?a=b&c#d", "mailto:a@b", "x-a+b.1:"}) {
    EXPECT_TRUE(workspace.openURL(url));
    EXPECT_EQ(told(), "xdg-open\n" + url + "\n");
  }
}

TEST_F(LinuxWorkspaceTest, RefusesWhatIsNoPathAndNoUrl) {
  EXPECT_FALSE(workspace.open(desktop.path("home"))) << "nothing opens anything here";
  program("bin/gio");
  EXPECT_TRUE(workspace.openURL("https://example.org"));
  EXPECT_EQ(told(), "gio\nopen\nhttps://example.org\n") << "what else there is";
  for (const std::string path : {"", "home", "-x", "./file", "/nonexistent"})
    EXPECT_FALSE(workspace.open(path)) << path;
  for (const std::string url :
       {"", "-x", "--help", "a b:c", ":c", "1a:b", "/etc/passwd", "a", "file:///nonexistent"})
    EXPECT_FALSE(workspace.openURL(url)) << url;
}

TEST_F(LinuxWorkspaceTest, StartsApplicationsAndNothingElseThatCanBeRun) {
  program("bin/xdg-open");
  const auto script = program("home/script");
  EXPECT_TRUE(workspace.open(script));
  EXPECT_EQ(told(), "xdg-open\n" + script + "\n");
  entry("org.kde.ksysguard", program("bin/ksysguard"));
  EXPECT_TRUE(workspace.open(applications.pathOfApplication(kActivityMonitor).value_or("")));
  EXPECT_EQ(told(), "ksysguard\n");
  EXPECT_TRUE(workspace.launch(script, {"FromApp", "$(x)"}));
  EXPECT_EQ(told(), "script\nFromApp\n$(x)\n");
  const auto missing = workspace.launch("/nonexistent", {});
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().code, ENOENT);
  EXPECT_NE(missing.error().text.find("/nonexistent"), std::string::npos);
  EXPECT_EQ(workspace.launch(desktop.file("plain"), {}).error().code, EACCES);
}

// Nothing of ours reaches it: no parenthood, directory, stream, descriptor or signal setting. Two
// signals are the C library's own: who was spawned by it ignores them, and nobody can change that.
TEST_F(LinuxWorkspaceTest, LetsGoOfWhatItStarts) {
  const auto started =
      program("started",
              "pwd\nwhile read -r name set; do case $name in\n"
              "SigBlk:) echo \"$name $set\" ;;\n"
              "SigIgn:) printf '%s %016x\\n' $name $((0x$set & ~0x180000000)) ;;\n"
              "esac; done </proc/$$/status\n"
              "readlink /proc/$$/fd/0 /proc/$$/fd/2; [ -e /proc/$$/fd/77 ] && echo leaked");
  const Descriptor inherited(dup2(STDERR_FILENO, 77));
  sigset_t some;
  sigset_t former;
  sigemptyset(&some);
  sigaddset(&some, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &some, &former);
  const auto handler = std::signal(SIGPIPE, SIG_IGN);
  EXPECT_TRUE(workspace.launch(started, {}));
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
  std::signal(SIGPIPE, handler);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD) << "it is no child and leaves nothing to be reaped";
  const std::string streams = "/dev/null\n/dev/null\n";
  const std::string none = "0000000000000000\n";
  EXPECT_EQ(told(),
            "started\n" + desktop.path("home") + "\nSigBlk: " + none + "SigIgn: " + none + streams);
  fs::remove_all(desktop.path("home"));
  EXPECT_TRUE(workspace.launch(started, {}));
  EXPECT_EQ(told(), "started\n/\nSigBlk: " + none + "SigIgn: " + none + streams);
}

TEST_F(LinuxWorkspaceTest, NamesItemsAsTheyAre) {
  const std::pair<const char*, const char*> cases[] = {
      {"/a/b.txt", "b.txt"}, {"/a/b/", "b"},   {"/a/b///", "b"}, {"/", "/"},
      {"//", "/"},           {"name", "name"}, {"", ""},         {"/a/\xFF\xFEz", "\uFFFD\uFFFDz"}};
  for (const auto& [path, name] : cases) EXPECT_EQ(workspace.displayName(path), name) << path;
}

constexpr char kFileManagerName[] = "org.freedesktop.FileManager1";

// Stands for a file manager: keeps what it is asked for, and accepts it, refuses it or is silent.
struct FileManagerDouble {
  enum class Answer { Accepts, Refuses, IsSilent };

  FileManagerDouble(const std::string& address, Answer given)
      : answer(given),
        service(address, kFileManagerName, "/org/freedesktop/FileManager1",
                [this](sd_bus_message* message) { return reply(message); }) {}

  int reply(sd_bus_message* message) {
    if (sd_bus_message_is_method_call(message, kFileManagerName, "ShowItemProperties") <= 0)
      return 0;
    EXPECT_STREQ(sd_bus_message_get_signature(message, 1), "ass");
    EXPECT_GE(sd_bus_message_enter_container(message, 'a', "s"), 0);
    for (const char* url = nullptr; sd_bus_message_read(message, "s", &url) > 0;)
      asked.emplace_back(url);
    if (answer == Answer::IsSilent) return 1;
    if (answer == Answer::Accepts) return sd_bus_reply_method_return(message, "");
    return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_FAILED, "nothing to show");
  }

  const Answer answer;
  std::vector<std::string> asked;  // only once the caller has its answer
  BusService service;
};

using Answer = FileManagerDouble::Answer;

TEST(LinuxFileManager, IsAskedOverTheSessionBus) {
  const PrivateBus bus;
  const FileManagerDouble manager(bus.address(), Answer::Accepts);
  LinuxWorkspace workspace({.sessionBus = bus.address()});
  const std::string path = "/tmp/a b\"; #100% ü\n\xFF";
  EXPECT_TRUE(workspace.showInformation(path));
  EXPECT_TRUE(workspace.showInformation("/"));
  EXPECT_EQ(manager.asked, (std::vector<std::string>{extensions::fileUrl(path), "file:///"}));
}

TEST(LinuxFileManager, ThatRefusesOrIsSilentOrGoneIsAnError) {
  PrivateBus bus;
  const auto failure = [&](std::chrono::milliseconds limit) {
    LinuxWorkspace workspace({.sessionBus = bus.address(), .fileManagerLimit = limit});
    const auto shown = workspace.showInformation("/");
    return shown ? SystemError{"none", 0, "none"} : shown.error();
  };
  constexpr std::chrono::seconds kLong(10);
  EXPECT_NE(failure(kLong).text.find(kFileManagerName), std::string::npos) << "nobody is there";
  {
    const FileManagerDouble manager(bus.address(), Answer::Refuses);
    EXPECT_NE(failure(kLong).text.find("nothing to show"), std::string::npos);
  }
  {
    const FileManagerDouble manager(bus.address(), Answer::IsSilent);
    EXPECT_EQ(failure(std::chrono::milliseconds(50)).code, ETIMEDOUT);
  }
  bus.stop();
  for (const std::string& address : {bus.address(), std::string(), std::string("nonsense")})
    EXPECT_FALSE(LinuxWorkspace({.sessionBus = address}).showInformation("/")) << address;
}

}  // namespace
