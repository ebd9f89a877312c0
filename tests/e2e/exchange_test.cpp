#include "tests/e2e/programs.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <gtest/gtest.h>

#include <csignal>

namespace sorrelwind::test {

namespace {

QString warning(const Desktop& desktop) {
    return desktop.status()[QStringLiteral("warning")].toString();
}

/// Texts between programs that are not ours: clipboard managers, sharers, scripts.
class Exchange : public testing::Test {
protected:
    void SetUp() override {
        a.createGroup(hub);
        ASSERT_FALSE(HasFatalFailure());
        b.joinByLink(a);
    }

    void TearDown() override {
        const QByteArray logs = a.log() + b.log() + hub.log();
        for (const char* secret : {"SECRET", "机密", "sw1."})
            EXPECT_FALSE(logs.contains(secret)) << secret;
    }

    QTemporaryDir folder;
    Hub hub{folder.path()};
    Desktop a{folder.path(), QStringLiteral("alpha")};
    Desktop b{folder.path(), QStringLiteral("beta")};
};

} // namespace

TEST_F(Exchange, WhatAClipboardManagerTakesOverIsNotSentBack) {
    struct Row {
        const char* what;
        QByteArray copied;
        QByteArray arrives;
    };
    const Row rows[] = {
        {"CRLF", "SECRET one\r\ntwo\r\n", "SECRET one\r\ntwo\r\n"},
        {"line ends at its end", "SECRET end\n\n", "SECRET end\n\n"},
        {"carriage return alone", "SECRET a\rb\r", "SECRET a\rb\r"},
        {"NUL inside", QByteArray("SECRET a\0b", 10), QByteArray("SECRET a\0b", 10)},
        {"NUL at its end", QByteArray("SECRET c\0", 9), "SECRET c"},
        {"not UTF-8", "SECRET \xff\xfe\xc3", "SECRET \uFFFD\uFFFD\uFFFD"},
        {"byte order mark", "\uFEFFSECRET bom", "\uFEFFSECRET bom"},
        {"a line end alone", "\n", "\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        a.copy(row.copied);
        EXPECT_TRUE(b.pastes(row.arrives)) << b.paste().value_or("nothing").toHex().toStdString();
        b.copy(row.arrives);
        // What beta would have sent would be on its way before this comes back.
        const QByteArray next = QByteArray("SECRET after ") + row.what;
        a.copy(next);
        EXPECT_TRUE(b.pastes(next));
        EXPECT_TRUE(b.status()[QStringLiteral("lastSent")].isNull());
    }
}

TEST_F(Exchange, LoopThroughAnotherSharerIsStoppedUntilTheNextCopy) {
    // The sharer carries the text on between the desktops and adds a line end each time.
    QByteArray text = "SECRET round";
    a.copy(text);
    const Desktop* here = &b;
    const Desktop* there = &a;
    bool stopped = false;
    for (int i = 0; i < 60 && !stopped; ++i) {
        ASSERT_TRUE(waitFor([&] {
            stopped = !warning(*there).isEmpty();
            return stopped || here->paste() == text;
        }));
        if (stopped)
            break;
        text += '\n';
        here->copy(text);
        std::swap(here, there);
    }
    ASSERT_TRUE(stopped);
    EXPECT_TRUE(warning(*there).contains(QStringLiteral("back and forth")));
    EXPECT_TRUE(there->log().contains("keeps coming back"));

    there->copy("SECRET something else");
    EXPECT_TRUE(here->pastes("SECRET something else"));
    EXPECT_EQ(warning(*there), QString());
}

TEST_F(Exchange, SendAndReceiveWorkWithoutAClipboard) {
    a.endDesktop(); // its agent ends too; a server has no desktop to begin with
    ASSERT_TRUE(waitFor([&] { return !a.agentRunning(); }));
    Background server(QStringLiteral(SORRELWIND_BIN_DIR "/sorrelwind"),
                      {QStringLiteral("--headless"), QStringLiteral("--config-dir"), a.configDir()},
                      folder.filePath(QStringLiteral("server.log")), [] {
                          auto environment = QProcessEnvironment::systemEnvironment();
                          environment.remove(QStringLiteral("DISPLAY"));
                          environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
                          return environment;
                      }());
    ASSERT_TRUE(a.ready());
    EXPECT_EQ(a.status()[QStringLiteral("clipboardAvailable")], false);
    const Ended nothing = a.command({QStringLiteral("receive")});
    EXPECT_EQ(nothing.code, 1);
    EXPECT_TRUE(nothing.err.contains("Nothing has been received yet"));

    QProcess follower;
    follower.setProcessEnvironment([] {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        return environment;
    }());
    follower.start(QStringLiteral(SORRELWIND_BIN_DIR "/sorrelwind"),
                   {QStringLiteral("--config-dir"), a.configDir(), QStringLiteral("receive"),
                    QStringLiteral("-f0")});
    ASSERT_TRUE(follower.waitForStarted());

    b.copy("SECRET copied\n机密\n");
    EXPECT_TRUE(waitFor(
        [&] { return a.command({QStringLiteral("receive")}).out == "SECRET copied\n机密\n"; }));
    const QByteArray large = "SECRET " + QByteArray(3'000'000, '\x01');
    const Ended sent = a.command({QStringLiteral("send")}, large);
    EXPECT_EQ(sent.code, 0) << sent.err.toStdString();
    EXPECT_TRUE(sent.out.contains("1 of the other devices")) << sent.out.toStdString();
    EXPECT_TRUE(b.pastes(large));
    EXPECT_EQ(a.command({QStringLiteral("send"), QStringLiteral("SECRET said")}).code, 0);
    EXPECT_TRUE(b.pastes("SECRET said"));
    EXPECT_EQ(b.command({QStringLiteral("send"), QStringLiteral("-")}, "SECRET back").code, 0);
    QByteArray followed;
    EXPECT_TRUE(waitFor([&] {
        followed += follower.readAllStandardOutput();
        return followed == QByteArray("SECRET copied\n机密\n\0SECRET back\0", 34);
    })) << followed.toStdString();

    EXPECT_EQ(a.command({QStringLiteral("send")}, "").code, 2);
    EXPECT_EQ(a.command({QStringLiteral("send")}, "\xff\xff").code, 1);
    EXPECT_EQ(b.command({QStringLiteral("pause")}).code, 0);
    EXPECT_TRUE(b.command({QStringLiteral("send"), QStringLiteral("x")}).err.contains("resume"));
    EXPECT_EQ(a.command({QStringLiteral("leave")}).code, 0);
    EXPECT_TRUE(waitFor([&] { return follower.state() == QProcess::NotRunning; }));
    EXPECT_EQ(follower.exitCode(), 1);
    EXPECT_TRUE(follower.readAllStandardError().contains("no longer in the group"));
    EXPECT_EQ(server.end(SIGTERM), 0);
    EXPECT_FALSE(server.log().contains("SECRET"));
}

} // namespace sorrelwind::test
