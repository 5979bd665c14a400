#include "platform/linux/LinuxDefaults.h"

#include <systemd/sd-bus.h>

#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

using namespace platform;

namespace {

constexpr char kStyle[] = "AppleInterfaceStyle";
constexpr char kSettings[] = "org.freedesktop.portal.Settings";
constexpr char kAppearance[] = "org.freedesktop.appearance";
constexpr char kScheme[] = "color-scheme";

// The desktop's portal on a private bus. An old one knows only "Read", which wraps twice.
class Portal {
 public:
  enum class Kind { Current, Old, Foreign, Silent };
  Portal(const std::string& address, Kind kind, std::uint32_t scheme)
      : kind_(kind),
        scheme_(scheme),
        service_(address, "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                 [this](sd_bus_message* message) { return answer(message); }) {}

  template <class Value>
  void change(const char* space, const char* key, const char* type, Value value) {
    service_.sendSignal(kSettings, "SettingChanged", [&](sd_bus_message* signal) {
      return sd_bus_message_append(signal, "ssv", space, key, type, value);
    });
  }
  void changeScheme(std::uint32_t scheme) { change(kAppearance, kScheme, "u", scheme); }
  std::atomic<int> questions{0};

 private:
  int answer(sd_bus_message* message) {
    const bool readsOne = sd_bus_message_is_method_call(message, kSettings, "ReadOne") > 0;
    if (!readsOne && sd_bus_message_is_method_call(message, kSettings, "Read") <= 0) return 0;
    ++questions;
    if (kind_ == Kind::Silent) return 1;
    if (kind_ == Kind::Foreign) return sd_bus_reply_method_return(message, "s", "dark");
    if (kind_ == Kind::Old && readsOne) return 0;
    if (readsOne) return sd_bus_reply_method_return(message, "v", "u", scheme_);
    return sd_bus_reply_method_return(message, "v", "v", "u", scheme_);
  }

  const Kind kind_;
  const std::uint32_t scheme_;
  BusService service_;
};

class LinuxDefaultsTest : public testing::Test {
 protected:
  bool isDark() const { return defaults->string(kStyle) == "Dark"; }
  void expectSoon(bool dark) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (isDark() != dark && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_EQ(isDark(), dark);
  }
  std::unique_ptr<LinuxDefaults> anew() const {
    return std::make_unique<LinuxDefaults>(FileDefaults(folder.path("defaults.plist")),
                                           bus.address());
  }

  PrivateBus bus;
  Scratch folder;
  std::unique_ptr<LinuxDefaults> defaults = anew();
};

TEST_F(LinuxDefaultsTest, TellTheColourSchemeOfThePortal) {
  using Kind = Portal::Kind;
  for (const auto& [kind, scheme, dark, questions] :
       std::vector<std::tuple<Kind, std::uint32_t, bool, int>>{{Kind::Current, 1, true, 1},
                                                               {Kind::Current, 2, false, 1},
                                                               {Kind::Old, 1, true, 2},
                                                               {Kind::Old, 2, false, 2},
                                                               {Kind::Foreign, 1, false, 1}}) {
    defaults.reset();  // or it would ask this portal too
    Portal portal(bus.address(), kind, scheme);
    defaults = anew();
    EXPECT_EQ(defaults->string("Other"), std::nullopt);
    EXPECT_EQ(portal.questions, 0) << "nobody wanted to know";
    EXPECT_EQ(isDark(), dark) << scheme;
    EXPECT_EQ(isDark(), dark) << scheme;
    EXPECT_EQ(portal.questions, questions);
  }
}

TEST_F(LinuxDefaultsTest, FollowItsChanges) {
  Portal portal(bus.address(), Portal::Kind::Current, 2);
  EXPECT_FALSE(isDark());
  portal.changeScheme(1);
  expectSoon(true);
  portal.change(kAppearance, "contrast", "u", 0U);
  portal.change("org.example", kScheme, "u", 0U);
  portal.change(kAppearance, kScheme, "s", "dark");
  portal.changeScheme(1);
  EXPECT_TRUE(isDark());
  portal.changeScheme(0);
  expectSoon(false);
  EXPECT_EQ(portal.questions, 1);
}

TEST_F(LinuxDefaultsTest, AreLightUntilAPortalSaysOtherwise) {
  EXPECT_FALSE(isDark());
  {
    Portal portal(bus.address(), Portal::Kind::Current, 1);
    expectSoon(true);
  }
  EXPECT_TRUE(isDark()) << "as it was last";
  bus.stop();
  EXPECT_TRUE(isDark());
  bus.start();
  Portal portal(bus.address(), Portal::Kind::Current, 2);
  expectSoon(false);
}

TEST_F(LinuxDefaultsTest, DoNotWaitForAPortalThatHangs) {
  Portal portal(bus.address(), Portal::Kind::Silent, 1);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(isDark());
  EXPECT_FALSE(isDark());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  portal.changeScheme(1);
  expectSoon(true);
}

TEST_F(LinuxDefaultsTest, LetTheFileOverrideTheDesktop) {
  Portal portal(bus.address(), Portal::Kind::Current, 1);
  folder.file("defaults.plist",
              "<plist version=\"1.0\"><dict><key>AppleInterfaceStyle</key><string>Light</string>"
              "<key>Number</key><integer>6</integer></dict></plist>");
  EXPECT_EQ(defaults->string(kStyle), "Light");
  EXPECT_EQ(defaults->integer("Number"), 6);
  EXPECT_EQ(portal.questions, 0);
  folder.file("defaults.plist", "");
  EXPECT_TRUE(isDark());
}

}  // namespace
