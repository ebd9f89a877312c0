#include "tests/e2e/programs.h"
#include "tests/support/message_bus.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace sorrelwind::test {

namespace {

void write(const char* path, const std::string& text) {
    QFile file(QString::fromLatin1(path));
    if (file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        file.write(text.c_str());
}

/// Gives this program and all that it starts from here on a network of their own, which is
/// loopback alone. Anyone may, where the system allows user namespaces; before the first thread.
bool enterOwnNetwork() {
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    const bool root = ::geteuid() == 0;
    if (::unshare(root ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return false;
    if (!root) {
        write("/proc/self/setgroups", "deny");
        write("/proc/self/uid_map", user + ' ' + user + " 1");
        write("/proc/self/gid_map", group + ' ' + group + " 1");
    }
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP | IFF_RUNNING;
    const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
    const bool up = ::ioctl(socket, SIOCSIFFLAGS, &loopback) == 0;
    ::close(socket);
    return up;
}

/// As when a network comes up.
bool addDefaultRoute() {
    rtentry route{};
    for (sockaddr* address : {&route.rt_dst, &route.rt_genmask, &route.rt_gateway})
        address->sa_family = AF_INET;
    char device[] = "lo";
    route.rt_dev = device;
    route.rt_flags = RTF_UP;
    const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
    const bool added = ::ioctl(socket, SIOCADDRT, &route) == 0;
    ::close(socket);
    return added;
}

} // namespace

TEST(Wake, AnotherWayToTheNetworkIsTakenAtOnce) {
    if (!enterOwnNetwork())
        GTEST_SKIP() << "this system lets nobody make a network of their own";
    QTemporaryDir folder;
    Hub hub(folder.path());
    Desktop desktop(folder.path(), QStringLiteral("alpha"));
    desktop.createGroup(hub);

    // The way that the connection took leads nowhere now. By itself the agent would notice after
    // one ping interval at the earliest, which is 20 s.
    hub.signal(SIGSTOP);
    ASSERT_TRUE(addDefaultRoute());
    EXPECT_TRUE(waitFor(
        [&] {
            return desktop.status()[QStringLiteral("connection")] != QStringLiteral("connected");
        },
        std::chrono::seconds(15)));
    hub.signal(SIGCONT);
    EXPECT_TRUE(desktop.ready());
}

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
