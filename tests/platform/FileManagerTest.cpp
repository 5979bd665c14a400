#include "platform/linux/FileManager.h"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <cerrno>

#include "extensions/PathExtension.h"
#include "platform/linux/Bus.h"
#include "platform/linux/LinuxWorkspace.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Variables.h"

using namespace platform;
using namespace std::chrono_literals;

namespace {

constexpr char kName[] = "org.freedesktop.FileManager1";

// Stands for a file manager: keeps what it is asked for, and accepts it, refuses it or is silent.
class FileManagerDouble {
 public:
  enum class Answer { Accepts, Refuses, IsSilent };

  FileManagerDouble(const std::string& address, Answer answer)
      : answer_(answer),
        bus_(address, BusOwner::Anybody, {[this](sd_bus* bus) { serve(bus); }, [](int) {}}) {
    bus_.performAndWait([](sd_bus*) {}, 1min);
  }

  // Only once the caller has its answer.
  std::vector<std::string> asked;

 private:
  void serve(sd_bus* bus) {
    const auto handler = [](sd_bus_message* message, void* self, sd_bus_error*) {
      return static_cast<FileManagerDouble*>(self)->answer(message);
    };
    EXPECT_GE(sd_bus_add_object(bus, nullptr, "/org/freedesktop/FileManager1", handler, this), 0);
    EXPECT_GE(sd_bus_request_name(bus, kName, 0), 0);
  }

  int answer(sd_bus_message* message) {
    if (sd_bus_message_is_method_call(message, kName, "ShowItemProperties") <= 0) return 0;
    EXPECT_STREQ(sd_bus_message_get_signature(message, 1), "ass");
    EXPECT_GE(sd_bus_message_enter_container(message, 'a', "s"), 0);
    for (const char* url = nullptr; sd_bus_message_read(message, "s", &url) > 0;)
      asked.emplace_back(url);
    if (answer_ == Answer::IsSilent) return 1;
    if (answer_ == Answer::Accepts) return sd_bus_reply_method_return(message, "");
    return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_FAILED, "nothing to show");
  }

  const Answer answer_;
  Bus bus_;
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
    const auto shown = showItemProperties(bus.address(), "/", limit);
    return shown ? SystemError{"none", 0, "none"} : shown.error();
  };
  EXPECT_NE(failure(10s).text.find(kName), std::string::npos) << "nobody is there";
  {
    const FileManagerDouble manager(bus.address(), Answer::Refuses);
    EXPECT_NE(failure(10s).text.find("nothing to show"), std::string::npos);
  }
  {
    const FileManagerDouble manager(bus.address(), Answer::IsSilent);
    EXPECT_EQ(failure(50ms).code, ETIMEDOUT);
  }
  bus.stop();
  for (const std::string& address : {bus.address(), std::string(), std::string("nonsense")})
    EXPECT_FALSE(showItemProperties(address, "/", 10s)) << address;
}

TEST(LinuxFileManager, ListensWhereTheEnvironmentSays) {
  const auto with = [](const std::string& address, const std::string& runtime) {
    return fileManagerBus(
        environmentOf({{"DBUS_SESSION_BUS_ADDRESS", address}, {"XDG_RUNTIME_DIR", runtime}}));
  };
  EXPECT_EQ(with("unix:path=/a", "/run/user/7"), "unix:path=/a");
  EXPECT_EQ(with("", "/run/user/7"), "unix:path=/run/user/7/bus");
  EXPECT_EQ(with("", ""), "");
}

}  // namespace
