#include "base/defaults.h"
#include "hosting/hub_host.h"
#include "hosting/local_address.h"
#include "hosting/service_unit.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"
#include "tests/ui/played_systemd.h"

#include <QFileInfo>
#include <QSysInfo>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

using Started = std::optional<Result<QString, Sentence>>;

TEST(Hosting, DefaultRouteInterfaces) {
    const QByteArray head = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU"
                            "\tWindow\tIRTT\n";
    const auto line = [](const char* name, const char* to, const char* flags, const char* metric,
                         const char* mask) {
        return QByteArray(name) + '\t' + to + "\t0100A8C0\t" + flags + "\t0\t0\t" + metric + '\t' +
               mask + "\t0\t0\t0   \n";
    };
    const struct {
        const char* what;
        QByteArray routes;
        QStringList expected;
    } kTable[] = {
        {"nothing", "", {}},
        {"only a head", head, {}},
        {"one", head + line("wlan0", "00000000", "0003", "600", "00000000"), {"wlan0"}},
        {"the lower metric first",
         head + line("wlan0", "00000000", "0003", "600", "00000000") +
             line("eth0", "00000000", "0003", "100", "00000000"),
         {"eth0", "wlan0"}},
        {"a network is no default route",
         head + line("eth0", "0000A8C0", "0001", "100", "00FFFFFF"),
         {}},
        {"half of everything is none either",
         head + line("tun0", "00000000", "0003", "0", "00000080"),
         {}},
        {"down", head + line("eth0", "00000000", "0002", "100", "00000000"), {}},
        {"rubbish",
         "\xff\t\t\n00000000 00000000\n" + head + "eth0 00000000 x zz 0 0 y 00000000",
         {}},
    };
    for (const auto& [what, routes, expected] : kTable)
        EXPECT_EQ(defaultRouteInterfaces(routes), expected) << what;
}

TEST(Hosting, AddressForTheGroup) {
    const struct {
        const char16_t* name;
        const char* address;
        const char16_t* expected;
    } kTable[] = {
        {u"studio.local", "192.0.2.7", u"http://studio.local:8787"},
        {u"studio.local", "", u"http://studio.local:8787"},
        {u"", "192.0.2.7", u"http://192.0.2.7:8787"},
        {u"studio", "192.0.2.7", u"http://192.0.2.7:8787"}, // no name that others resolve
        {u"", "127.0.0.1", u""},
        {u"", "169.254.3.4", u""},
        {u"", "::1", u""},
        {u"", "", u""},
    };
    for (const auto& [name, address, expected] : kTable) {
        EXPECT_EQ(hostedHubAddress(QString::fromUtf16(name),
                                   QHostAddress(QString::fromLatin1(address)), 8787),
                  QString::fromUtf16(expected));
    }
}

TEST(Hosting, ThisComputerIsKnownByAddressAndName) {
    for (const auto* mine : {u"http://127.0.0.1:8787", u"http://localhost:8787", u"http://[::1]:1"})
        EXPECT_TRUE(isThisComputer(QString::fromUtf16(mine)));
    EXPECT_TRUE(isThisComputer(u"http://%1.local:8787"_qs.arg(QSysInfo::machineHostName())));
    for (const auto* other : {u"https://hub.example", u"http://192.0.2.7:8787", u""})
        EXPECT_FALSE(isThisComputer(QString::fromUtf16(other)));
}

TEST(Hosting, UnitQuotesWhatSystemdWouldReadOtherwise) {
    const QByteArray unit =
        hubUnit(u"/opt/my \"hub\" 100%/$x"_qs, {u"--data"_qs, u"/a$b c%d\\e"_qs});
    EXPECT_TRUE(unit.contains("\nExecStart=\"/opt/my \\\"hub\\\" 100%%/$x\" \"--data\" "
                              "\"/a$$b c%%d\\\\e\"\n"))
        << unit.toStdString();
    EXPECT_TRUE(unit.contains("\nWantedBy=default.target\n"));
}

TEST(Hosting, CommandLine) {
    HubHost::Options options;
    EXPECT_EQ(HubHost::arguments(options), QStringList({u"--listen"_qs, u"0.0.0.0:8788"_qs}));
    options.listen = QHostAddress(QHostAddress::LocalHost);
    options.port = 99;
    options.dataDir = u"/a b"_qs;
    EXPECT_EQ(HubHost::arguments(options),
              QStringList({u"--listen"_qs, u"127.0.0.1:99"_qs, u"--data"_qs, u"/a b"_qs}));
}

/// A host that runs the real hub program as a child, on a free loopback port.
class HostTest : public testing::Test {
protected:
    HostTest() {
        QTcpServer probe;
        EXPECT_TRUE(probe.listen(QHostAddress::LocalHost));
        m_options.program = QStringLiteral(SORRELWIND_BIN_DIR "/sorrelwind-hub");
        m_options.listen = QHostAddress(QHostAddress::LocalHost);
        m_options.port = probe.serverPort();
        m_options.dataDir = m_dir.filePath(u"hub"_qs);
        m_options.mayUseSystemd = false;
        m_options.localAddress = [] { return QHostAddress(u"192.0.2.7"_qs); };
        m_options.mayUseAvahi = false;
    }
    void SetUp() override {
        if (!QFileInfo(m_options.program).isExecutable())
            GTEST_SKIP() << "the hub program is not part of this build";
    }

    [[nodiscard]] static Result<QString, Sentence> start(HubHost& host) {
        Started started;
        host.start([&](const Result<QString, Sentence>& outcome) { started = outcome; });
        EXPECT_TRUE(waitFor([&] { return started.has_value(); }));
        return started.value_or(failure(Sentence{{}, u"no answer"_qs}));
    }
    static void stop(HubHost& host) {
        bool stopped = false;
        host.stop([&](const std::optional<Sentence>& problem) {
            EXPECT_FALSE(problem.has_value());
            stopped = true;
        });
        EXPECT_TRUE(waitFor([&] { return stopped; }));
    }
    [[nodiscard]] bool listens() const {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), m_options.port);
        return socket.waitForConnected(2000);
    }
    [[nodiscard]] QString address() const { return u"http://192.0.2.7:%1"_qs.arg(m_options.port); }

    QTemporaryDir m_dir;
    Defaults m_defaults{m_dir.path()};
    HubHost::Options m_options;
};

TEST_F(HostTest, StartsRemembersAndStops) {
    {
        HubHost host(m_defaults, m_options);
        EXPECT_FALSE(host.hosts());
        EXPECT_EQ(start(host), address());
        EXPECT_TRUE(host.hosts() && host.running() && !host.isService());
        EXPECT_TRUE(listens());
        EXPECT_TRUE(host.isHere(address()));
        EXPECT_FALSE(host.isHere(u"https://hub.example"_qs));
        EXPECT_EQ(start(host), address()); // what runs may be started
    }
    EXPECT_FALSE(listens()); // it ends with the agent

    HubHost again(m_defaults, m_options);
    EXPECT_TRUE(again.hosts());
    EXPECT_FALSE(again.running());
    again.resume();
    EXPECT_TRUE(waitFor([&] { return again.running(); }));
    EXPECT_TRUE(listens());
    stop(again);
    EXPECT_FALSE(listens());
    EXPECT_FALSE(again.hosts() || again.running());
    EXPECT_FALSE(HubHost(m_defaults, m_options).hosts());
    EXPECT_TRUE(again.isHere(address())); // so that it can be started again
}

TEST_F(HostTest, SaysInASentenceWhatStandsInTheWay) {
    QTcpServer other;
    ASSERT_TRUE(other.listen(QHostAddress::LocalHost));
    HubHost::Options noProgram = m_options;
    noProgram.program.clear();
    HubHost::Options notRunnable = m_options;
    notRunnable.program = m_dir.path();
    HubHost::Options noNetwork = m_options;
    noNetwork.localAddress = [] { return QHostAddress(); };
    HubHost::Options portInUse = m_options;
    portInUse.port = other.serverPort();
    HubHost::Options badFolder = m_options;
    badFolder.dataDir = u"/proc/nothing"_qs;
    const struct {
        HubHost::Options options;
        const char16_t* says;
    } kTable[] = {
        {noProgram, u"is not on this computer"}, {notRunnable, u"did not start"},
        {noNetwork, u"is on no network"},        {portInUse, u"is in use by another program"},
        {badFolder, u"did not start"},
    };
    for (const auto& [options, says] : kTable) {
        HubHost host(m_defaults, options);
        const auto started = start(host);
        ASSERT_FALSE(started.has_value()) << started->toStdString();
        EXPECT_TRUE(started.error().en.contains(QString::fromUtf16(says)))
            << started.error().en.toStdString();
        EXPECT_FALSE(host.hosts() || host.running());
    }
}

TEST_F(HostTest, StoppedWhileItStarts) {
    HubHost host(m_defaults, m_options);
    bool started = false;
    host.start([&](const Result<QString, Sentence>&) { started = true; });
    stop(host);
    EXPECT_FALSE(started);
    EXPECT_FALSE(host.hosts());
    EXPECT_FALSE(listens());
}

TEST_F(HostTest, RunsAsAServiceWhereThereIsOne) {
    const PlayedSystemd systemd(m_dir.path());
    m_options.mayUseSystemd = true;
    {
        HubHost host(m_defaults, m_options);
        EXPECT_EQ(start(host), address());
        EXPECT_TRUE(host.hosts() && host.running() && host.isService());
        EXPECT_TRUE(QFileInfo::exists(hubUnitPath()));
    }
    EXPECT_TRUE(listens()); // it goes on without the agent

    HubHost again(m_defaults, m_options);
    again.resume();
    EXPECT_TRUE(waitFor([&] { return again.running(); }));
    EXPECT_EQ(start(again), address());
    stop(again);
    EXPECT_TRUE(waitFor([&] { return !listens(); }));
    EXPECT_FALSE(again.hosts() || QFileInfo::exists(hubUnitPath()));
    QByteArray asked = systemd.log();
    asked.replace("is-active --quiet sorrelwind-hosted-hub.service\n", "");
    asked.replace("show --property=Version\n", "");
    EXPECT_EQ(asked, QByteArray("daemon-reload\nenable --now sorrelwind-hosted-hub.service\n"
                                "disable --now sorrelwind-hosted-hub.service\ndaemon-reload\n"));
}

} // namespace

} // namespace sorrelwind::test
