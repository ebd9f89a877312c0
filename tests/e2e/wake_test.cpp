#include "tests/e2e/programs.h"
#include "tests/support/message_bus.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <csignal>

namespace sorrelwind::test {

TEST(Wake, LogindSaysSoAndADeadConnectionIsReplacedAtOnce) {
    const MessageBus systemBus;
    ASSERT_FALSE(systemBus.address().isEmpty());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", systemBus.address().toUtf8());
    QTemporaryDir folder;
    Hub hub(folder.path());
    Desktop desktop(folder.path(), "alpha");
    qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    desktop.createGroup(hub);
    QDBusConnection logind = QDBusConnection::connectToBus(systemBus.address(), "logind");
    ASSERT_TRUE(logind.registerService("org.freedesktop.login1"));
    const auto prepareForSleep = [&](bool going) {
        QDBusMessage message = QDBusMessage::createSignal(
            "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep");
        message << going;
        ASSERT_TRUE(logind.send(message));
    };
    const auto connectionIs = [&](const char* state) {
        return desktop.status()[u"connection"] == QLatin1StringView(state);
    };

    // Asleep the hub's end of the connection dies without a word. By itself the agent would notice
    // after one ping interval at the earliest, which is 20 s.
    hub.signal(SIGSTOP);
    prepareForSleep(true);
    prepareForSleep(false);
    EXPECT_TRUE(waitFor([&] { return !connectionIs("connected"); }, std::chrono::seconds(15)));
    hub.signal(SIGCONT);
    EXPECT_TRUE(desktop.ready());

    // The hub was away for so long that the next attempt by itself is many seconds off.
    hub.kill();
    EXPECT_TRUE(waitFor([&] { return desktop.log().count("state -> connecting") >= 6; },
                        std::chrono::seconds(60)));
    hub.start();
    QElapsedTimer clock;
    clock.start();
    prepareForSleep(false);
    EXPECT_TRUE(waitFor([&] { return connectionIs("connected"); }));
    RecordProperty("ms_from_wake_to_connected", static_cast<int>(clock.elapsed()));
    std::printf("connected again %lld ms after waking\n", static_cast<long long>(clock.elapsed()));
    QDBusConnection::disconnectFromBus("logind");
}

} // namespace sorrelwind::test
