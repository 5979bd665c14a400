// The program itself, with a session bus of its own.

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>

#include "tests/settings/WindowTest.h"
#include "tests/support/PrivateBus.h"

namespace {

constexpr int kPatience = 20'000;  // milliseconds

class ProcessTest : public WindowTest {
 protected:
  void start(QProcess& program, const QString& busAddress, const QStringList& arguments = {}) {
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SESSION_BUS_ADDRESS", busAddress);
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    program.setProcessEnvironment(environment);
    program.start(TARNVALE_SETTINGS, arguments);
    ASSERT_TRUE(program.waitForStarted(kPatience));
  }

  // Returns when a program owns the window's name.
  static bool waitForWindow(const QDBusConnection& connection) {
    QEventLoop loop;
    QDBusServiceWatcher watcher(kMainAppBundleId, connection,
                                QDBusServiceWatcher::WatchForRegistration);
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceRegistered, &loop, &QEventLoop::quit);
    QTimer::singleShot(kPatience, &loop, &QEventLoop::quit);
    const auto isThere = [&] {
      return connection.interface()->isServiceRegistered(kMainAppBundleId).value();
    };
    if (!isThere()) loop.exec();
    return isThere();
  }
};

TEST_F(ProcessTest, ASecondStartBringsTheFirstWindowForward) {
  PrivateBus bus;
  const QString address = QString::fromStdString(bus.address());
  const auto connection = QDBusConnection::connectToBus(address, "test");
  ASSERT_TRUE(connection.isConnected());
  QProcess first;
  start(first, address);
  ASSERT_TRUE(waitForWindow(connection));
  QProcess second;
  start(second, address);
  ASSERT_TRUE(second.waitForFinished(kPatience)) << "it waits for the first, which answers";
  EXPECT_EQ(second.exitCode(), 0);
  EXPECT_EQ(first.state(), QProcess::Running);
  first.terminate();
  first.waitForFinished(kPatience);
  QDBusConnection::disconnectFromBus("test");
}

TEST_F(ProcessTest, SaysWhatItIsAndRefusesTheRest) {
  QProcess program;
  start(program, "", {"--version"});
  ASSERT_TRUE(program.waitForFinished(kPatience));
  EXPECT_TRUE(program.readAllStandardOutput().startsWith("tarnvale-settings "));
  start(program, "", {"--everything"});
  ASSERT_TRUE(program.waitForFinished(kPatience));
  EXPECT_EQ(program.exitCode(), 2);
}

}  // namespace
