#include "tests/e2e/programs.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

namespace sorrelwind::test {

namespace {

using Sync = PairedDesktops;

bool receivedFrom(const Desktop& desktop, const QString& sender) {
    return desktop.status()[u"lastReceived"][u"device"] == sender;
}

qsizetype online(const Desktop& desktop) {
    return std::ranges::count_if(
        desktop.devices(), [](const QJsonValue& device) { return device[u"online"].toBool(); });
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
    EXPECT_TRUE(receivedFrom(a, "beta"));
    const QJsonObject sent = a.status()[u"lastSent"].toObject();
    EXPECT_TRUE(sent[u"ok"].toBool());
    EXPECT_EQ(sent[u"recipients"].toInt(), 1);
}

TEST_F(Sync, HubKilledInMidTrafficComesBackAndSoDoTheAgents) {
    for (int round = 0; round < 3; ++round) {
        const QByteArray number = QByteArray::number(round);
        a.copy("SECRET under way " + number);
        hub.kill();
        ASSERT_TRUE(waitFor([&] {
            return a.status()[u"connection"] != "connected" &&
                   b.status()[u"connection"] != "connected";
        }));
        EXPECT_EQ(online(a), 0) << "nobody knows";
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
    ASSERT_TRUE(waitFor([&] { return a.devices().size() == 2 && online(a) == 1; }));
    a.copy("SECRET missed");
    ASSERT_TRUE(waitFor([&] { return !a.status()[u"lastSent"].toObject().isEmpty(); }));
    a.copy("SECRET newest");
    EXPECT_TRUE(waitFor([&] { return a.status()[u"lastSent"].toObject()[u"recipients"] == 0; }));
    b.startAgent();
    EXPECT_TRUE(b.pastes("SECRET newest"));

    EXPECT_EQ(b.stopAgent(SIGINT), 0);
    b.startAgent();
    // The list and a waiting item come in the same greeting.
    ASSERT_TRUE(waitFor([&] { return b.devices().size() == 2; }));
    EXPECT_TRUE(b.status()[u"lastReceived"].isNull());
}

TEST_F(Sync, PauseHoldsBothDirections) {
    ASSERT_EQ(a.command({"pause"}).code, 0);
    a.copy("SECRET during the pause");
    b.copy("SECRET from beta meanwhile");
    // It is noted as received, and not put on the clipboard.
    EXPECT_TRUE(waitFor([&] { return receivedFrom(a, "beta"); }));
    EXPECT_EQ(a.paste(), QByteArray("SECRET during the pause"));
    ASSERT_EQ(a.command({"resume"}).code, 0);
    a.copy("SECRET after the pause");
    EXPECT_TRUE(b.pastes("SECRET after the pause"));
    EXPECT_FALSE(receivedFrom(b, "beta"));
    EXPECT_EQ(a.status()[u"paused"], false);
}

TEST_F(Sync, QuitEndsTheAgentAndKeepsTheMembership) {
    a.copy("SECRET last");
    ASSERT_TRUE(b.pastes("SECRET last"));
    ASSERT_EQ(b.command({"quit"}).code, 0);
    EXPECT_TRUE(waitFor([&] { return !b.agentRunning(); }));
    EXPECT_FALSE(QFile::exists(b.configDir() + "/control.sock"));
    EXPECT_TRUE(QFile::exists(b.configDir() + "/account.json"));
}

} // namespace sorrelwind::test
