#include "tests/e2e/programs.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

namespace sorrelwind::test {

namespace {

const QString kConnection = QStringLiteral("connection");

/// A hub and two paired desktops, all real.
class Sync : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(folder.isValid());
        a.createGroup(hub);
        ASSERT_FALSE(HasFatalFailure());
        b.joinByLink(a);
    }

    void TearDown() override {
        // What was copied in this file stands in no log of anyone.
        const QByteArray logs = a.log() + b.log() + hub.log();
        for (const char* secret : {"SECRET", "机密", "sw1."})
            EXPECT_FALSE(logs.contains(secret)) << secret;
    }

    QTemporaryDir folder;
    Hub hub{folder.path()};
    Desktop a{folder.path(), QStringLiteral("alpha")};
    Desktop b{folder.path(), QStringLiteral("beta")};
};

bool receivedFrom(const Desktop& desktop, const QString& sender) {
    return desktop.status()[QStringLiteral("lastReceived")].toObject()[QStringLiteral("device")] ==
           sender;
}

} // namespace

TEST_F(Sync, TextGoesBothWays) {
    const QByteArray texts[] = {
        "SECRET plain",
        "机密：多行\n第二行\n",
        "SECRET 👩‍👩‍👧‍👦 émoji",
        "SECRET \r\n crlf\t",
        "SECRET" + QByteArray(300'000, 'x'),
        "x",
    };
    for (const QByteArray& text : texts) {
        a.copy(text + "→b");
        EXPECT_TRUE(b.pastes(text + "→b")) << text.left(40).toStdString();
        b.copy(text + "→a");
        EXPECT_TRUE(a.pastes(text + "→a")) << text.left(40).toStdString();
    }
    EXPECT_TRUE(receivedFrom(a, QStringLiteral("beta")));
    const QJsonObject sent = a.status()[QStringLiteral("lastSent")].toObject();
    EXPECT_TRUE(sent[QStringLiteral("ok")].toBool());
    EXPECT_EQ(sent[QStringLiteral("recipients")].toInt(), 1);
}

TEST_F(Sync, HubKilledInMidTrafficComesBackAndSoDoTheAgents) {
    for (int round = 0; round < 3; ++round) {
        const QByteArray number = QByteArray::number(round);
        a.copy("SECRET under way " + number);
        hub.kill();
        ASSERT_TRUE(waitFor([&] {
            return a.status()[kConnection] != QStringLiteral("connected") &&
                   b.status()[kConnection] != QStringLiteral("connected");
        }));
        hub.start();
        ASSERT_TRUE(a.ready()) << a.log().toStdString() << hub.log().toStdString();
        ASSERT_TRUE(b.ready()) << b.log().toStdString() << hub.log().toStdString();
        a.copy("SECRET after " + number);
        EXPECT_TRUE(b.pastes("SECRET after " + number));
        b.copy("SECRET back " + number);
        EXPECT_TRUE(a.pastes("SECRET back " + number));
    }
    EXPECT_EQ(a.devices().size(), 2);
}

TEST_F(Sync, DeviceThatWasAwayGetsTheNewestItemOnce) {
    EXPECT_EQ(b.stopAgent(SIGTERM), 0);
    // The hub saw a clean close: the list says so at once, without waiting for a time-out.
    ASSERT_TRUE(waitFor([&] {
        const QJsonArray devices = a.devices();
        return devices.size() == 2 && std::ranges::count_if(devices, [](const QJsonValue& device) {
                                          return device[u"online"].toBool();
                                      }) == 1;
    }));
    a.copy("SECRET missed");
    ASSERT_TRUE(
        waitFor([&] { return !a.status()[QStringLiteral("lastSent")].toObject().isEmpty(); }));
    a.copy("SECRET newest");
    EXPECT_TRUE(waitFor([&] {
        return a.status()[QStringLiteral("lastSent")].toObject()[QStringLiteral("recipients")] == 0;
    }));
    b.startAgent();
    EXPECT_TRUE(b.pastes("SECRET newest"));

    EXPECT_EQ(b.stopAgent(SIGINT), 0);
    b.startAgent();
    // The list and a waiting item come in the same greeting.
    ASSERT_TRUE(waitFor([&] { return b.devices().size() == 2; }));
    EXPECT_TRUE(b.status()[QStringLiteral("lastReceived")].isNull());
}

TEST_F(Sync, PauseHoldsBothDirections) {
    ASSERT_EQ(a.command({QStringLiteral("pause")}).code, 0);
    a.copy("SECRET during the pause");
    b.copy("SECRET from beta meanwhile");
    // It is noted as received, and not put on the clipboard.
    EXPECT_TRUE(waitFor([&] { return receivedFrom(a, QStringLiteral("beta")); }));
    EXPECT_EQ(a.paste(), QByteArray("SECRET during the pause"));
    ASSERT_EQ(a.command({QStringLiteral("resume")}).code, 0);
    a.copy("SECRET after the pause");
    EXPECT_TRUE(b.pastes("SECRET after the pause"));
    EXPECT_FALSE(receivedFrom(b, QStringLiteral("beta")));
    EXPECT_EQ(a.status()[QStringLiteral("paused")], false);
}

TEST_F(Sync, QuitEndsTheAgentAndKeepsTheMembership) {
    a.copy("SECRET last");
    ASSERT_TRUE(b.pastes("SECRET last"));
    ASSERT_EQ(b.command({QStringLiteral("quit")}).code, 0);
    EXPECT_TRUE(waitFor([&] { return !b.agentRunning(); }));
    EXPECT_FALSE(QFile::exists(b.configDir() + QStringLiteral("/control.sock")));
    EXPECT_TRUE(QFile::exists(b.configDir() + QStringLiteral("/account.json")));
}

} // namespace sorrelwind::test
