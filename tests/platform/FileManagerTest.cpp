#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <thread>

#include "extensions/FileUrl.h"
#include "platform/linux/FileManager.h"
#include "platform/linux/LinuxWorkspace.h"
#include "platform/posix/FileDescriptor.h"
#include "tests/support/Scratch.h"

using namespace platform;
using namespace std::chrono_literals;

namespace {

constexpr char kName[] = "org.freedesktop.FileManager1";

// A message bus of the test's own, which starts nothing by itself.
class PrivateBus {
 public:
  PrivateBus() {
    const std::string rules =
        "<busconfig><type>session</type><listen>unix:path=" + scratch_.path("bus") +
        "</listen><auth>EXTERNAL</auth><policy context='default'>"
        "<allow send_destination='*' eavesdrop='true'/>"
                              "<allow eavesdrop='true'/><allow own='*'/></policy></busconfig>";
    std::string config = "--config-file=" + scratch_.file("bus.conf", rules);
    std::string nofork = "--nofork";
    std::string print = "--print-address=1";
    std::string program = "dbus-daemon";
    const std::array<char*, 5> arguments = {program.data(), config.data(), nofork.data(),
                                            print.data(), nullptr};
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, writing.get(), STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    EXPECT_EQ(posix_spawnp(&daemon_, "dbus-daemon", &actions, nullptr, arguments.data(), environ),
              0);
    posix_spawn_file_actions_destroy(&actions);
    writing.reset();
    for (char c = 0; read(reading.get(), &c, 1) == 1 && c != '\n';) address_ += c;
  }
  ~PrivateBus() { stop(); }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& address() const { return address_; }
  void stop() {
    if (daemon_ <= 0) return;
    kill(daemon_, SIGKILL);
    waitpid(daemon_, nullptr, 0);
    daemon_ = 0;
  }

 private:
  Scratch scratch_;
  pid_t daemon_ = 0;
  std::string address_;
};

// Stands for a file manager: keeps what it is asked for, and accepts it, refuses it or is silent.
class FileManagerDouble {
 public:
  enum class Answer { Accepts, Refuses, IsSilent };

  FileManagerDouble(const std::string& address, Answer answer) : answer_(answer) {
    EXPECT_GE(sd_bus_new(&bus_), 0);
    EXPECT_GE(sd_bus_set_address(bus_, address.c_str()), 0);
    EXPECT_GE(sd_bus_set_bus_client(bus_, 1), 0);
    EXPECT_GE(sd_bus_start(bus_), 0);
    EXPECT_GE(sd_bus_add_object(bus_, nullptr, "/org/freedesktop/FileManager1", &called, this), 0);
    EXPECT_GE(sd_bus_request_name(bus_, kName, 0), 0);
    thread_ = std::thread([this] { serve(); });
  }
  ~FileManagerDouble() {
    ends_ = true;
    thread_.join();
    sd_bus_close_unref(bus_);
  }
  FileManagerDouble(const FileManagerDouble&) = delete;
  FileManagerDouble& operator=(const FileManagerDouble&) = delete;

  // Only once the caller has its answer.
  std::vector<std::string> asked;

 private:
  static int called(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& manager = *static_cast<FileManagerDouble*>(self);
    if (sd_bus_message_is_method_call(message, kName, "ShowItemProperties") <= 0) return 0;
    EXPECT_STREQ(sd_bus_message_get_signature(message, 1), "ass");
    char** urls = nullptr;
    EXPECT_GE(sd_bus_message_read_strv(message, &urls), 0);
    for (char** url = urls; url != nullptr && *url != nullptr; ++url) {
      manager.asked.emplace_back(*url);
      free(*url);  // NOLINT: the library's
    }
    free(urls);  // NOLINT
    if (manager.answer_ == Answer::IsSilent) return 1;
    if (manager.answer_ == Answer::Accepts) return sd_bus_reply_method_return(message, "");
    return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_FAILED, "nothing to show");
  }

  void serve() {
    constexpr std::uint64_t kTurn = 20'000;  // microseconds until the end is noticed
    while (!ends_) {
      if (sd_bus_process(bus_, nullptr) == 0) sd_bus_wait(bus_, kTurn);
    }
  }

  const Answer answer_;
  sd_bus* bus_ = nullptr;
  std::atomic<bool> ends_ = false;
  std::thread thread_;
};

using Answer = FileManagerDouble::Answer;

TEST(LinuxFileManager, IsAskedOverTheSessionBus) {
  const PrivateBus bus;
  const FileManagerDouble manager(bus.address(), Answer::Accepts);
  LinuxWorkspace workspace({.sessionBus = bus.address()});
  const std::string path = "/tmp/a b\"; #100% ü\n\xFF";
  EXPECT_EQ(workspace.showInformation(path), std::nullopt);
  EXPECT_EQ(workspace.showInformation("/"), std::nullopt);
  EXPECT_EQ(manager.asked, (std::vector<std::string>{extensions::fileUrl(path), "file:///"}));
}

TEST(LinuxFileManager, ThatRefusesOrIsSilentOrGoneIsAnError) {
  PrivateBus bus;
  const auto nobody = showItemProperties(bus.address(), "/", 10s);
  ASSERT_TRUE(nobody);
  EXPECT_NE(nobody->text.find(kName), std::string::npos) << nobody->text;
  {
    const FileManagerDouble manager(bus.address(), Answer::Refuses);
    const auto refused = showItemProperties(bus.address(), "/", 10s);
    ASSERT_TRUE(refused);
    EXPECT_NE(refused->text.find("nothing to show"), std::string::npos) << refused->text;
  }
  {
    const FileManagerDouble manager(bus.address(), Answer::IsSilent);
    const auto late = showItemProperties(bus.address(), "/", 50ms);
    ASSERT_TRUE(late);
    EXPECT_EQ(late->code, ETIMEDOUT);
  }
  bus.stop();
  EXPECT_TRUE(showItemProperties(bus.address(), "/", 10s));
  EXPECT_TRUE(showItemProperties("", "/", 10s));
  EXPECT_TRUE(showItemProperties("nonsense", "/", 10s));
}

TEST(LinuxFileManager, ListensWhereTheEnvironmentSays) {
  const auto with = [](std::string address, std::string runtime) {
    return fileManagerBus([=](const std::string& name) -> std::optional<std::string> {
      const auto& value = name == "DBUS_SESSION_BUS_ADDRESS" ? address : runtime;
      return value.empty() ? std::nullopt : std::optional(value);
    });
  };
  EXPECT_EQ(with("unix:path=/a", "/run/user/7"), "unix:path=/a");
  EXPECT_EQ(with("", "/run/user/7"), "unix:path=/run/user/7/bus");
  EXPECT_EQ(with("", ""), "");
}

}  // namespace
