#include "tests/e2e/programs.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <gtest/gtest.h>

#include <csignal>

namespace sorrelwind::test {

namespace {

QString warning(const Desktop& desktop) {
    return desktop.status()[u"warning"].toString();
}

/// Texts between programs that are not ours: clipboard managers, sharers, scripts.
using Exchange = PairedDesktops;

} // namespace

TEST_F(Exchange, WhatAClipboardManagerTakesOverIsNotSentBack) {
    const std::tuple<const char*, QByteArray, QByteArray> rows[] = {
        {"CRLF", "SECRET one\r\ntwo\r\n", "SECRET one\r\ntwo\r\n"},
        {"line ends at its end", "SECRET end\n\n", "SECRET end\n\n"},
        {"carriage return alone", "SECRET a\rb\r", "SECRET a\rb\r"},
        {"NUL inside", QByteArray("SECRET a\0b", 10), QByteArray("SECRET a\0b", 10)},
        {"NUL at its end", QByteArray("SECRET c\0", 9), "SECRET c"},
        {"not UTF-8", "SECRET \xff\xfe\xc3", "SECRET \uFFFD\uFFFD\uFFFD"},
        {"byte order mark", "\uFEFFSECRET bom", "\uFEFFSECRET bom"},
        {"a line end alone", "\n", "\n"},
    };
    for (const auto& [what, copied, arrives] : rows) {
        SCOPED_TRACE(what);
        a.copy(copied);
        EXPECT_TRUE(b.pastes(arrives)) << b.paste().value_or("nothing").toHex().toStdString();
        b.copy(arrives);
        // What beta would have sent would be on its way before this comes back.
        const QByteArray next = QByteArray("SECRET after ") + what;
        a.copy(next);
        EXPECT_TRUE(b.pastes(next));
        EXPECT_TRUE(b.status()[u"lastSent"].isNull());
    }
}

TEST_F(Exchange, LoopThroughAnotherSharerIsStoppedUntilTheNextCopy) {
    // The sharer carries the text on between the desktops and adds a line end each time.
    QByteArray text = "SECRET round";
    a.copy(text);
    const Desktop* here = &b;
    const Desktop* there = &a;
    bool stopped = false;
    for (int i = 0; i < 60; ++i) {
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
    EXPECT_TRUE(warning(*there).contains("back and forth"));
    EXPECT_TRUE(there->log().contains("keeps coming back"));

    there->copy("SECRET something else");
    EXPECT_TRUE(here->pastes("SECRET something else"));
    EXPECT_EQ(warning(*there), QString());
}

TEST_F(Exchange, TooLargeACopyIsSaid) {
    // For the hub, and already for the clipboard.
    for (const qsizetype size : {9'000'000, 17'000'000}) {
        a.copy("SECRET " + QByteArray(size, 'x'));
        EXPECT_TRUE(waitFor([&] { return warning(a).contains("too large"); })) << size;
        a.copy("SECRET small " + QByteArray::number(size));
        EXPECT_TRUE(b.pastes("SECRET small " + QByteArray::number(size)));
        EXPECT_EQ(warning(a), QString());
    }
    const Ended sent = a.command({"send"}, QByteArray(9'000'000, 'x'));
    EXPECT_EQ(sent.code, 1);
    EXPECT_TRUE(sent.err.contains("in parts")) << sent.err.toStdString();
}

TEST_F(Exchange, SendAndReceiveWorkWithoutAClipboard) {
    a.endDesktop(); // its agent ends too; a server has no desktop to begin with
    ASSERT_TRUE(waitFor([&] { return !a.agentRunning(); }));
    auto noDesktop = QProcessEnvironment::systemEnvironment();
    noDesktop.remove("DISPLAY");
    noDesktop.remove("WAYLAND_DISPLAY");
    Background server(kAgent, {"--headless", "--config-dir", a.configDir()},
                      folder.filePath("server.log"), noDesktop);
    ASSERT_TRUE(a.ready());
    EXPECT_EQ(a.status()[u"clipboardAvailable"], false);
    const Ended nothing = a.command({"receive"});
    EXPECT_EQ(nothing.code, 1);
    EXPECT_TRUE(nothing.err.contains("Nothing has been received yet"));

    QProcess follower;
    follower.setProcessEnvironment(ourEnvironment());
    follower.start(kAgent, {"--config-dir", a.configDir(), "receive", "-f0"});
    ASSERT_TRUE(follower.waitForStarted());

    b.copy("SECRET copied\n机密\n");
    EXPECT_TRUE(waitFor([&] { return a.command({"receive"}).out == "SECRET copied\n机密\n"; }));
    const QByteArray large = "SECRET " + QByteArray(3'000'000, '\x01');
    const Ended sent = a.command({"send"}, large);
    EXPECT_EQ(sent.code, 0) << sent.err.toStdString();
    EXPECT_EQ(sent.out, "Sent to 1 device\n");
    EXPECT_TRUE(b.pastes(large));
    EXPECT_EQ(a.command({"send", u"\uFEFFSECRET said"_qs}).code, 0);
    EXPECT_TRUE(b.pastes("\uFEFFSECRET said"));
    EXPECT_EQ(b.command({"send", "-"}, "\uFEFFSECRET back").code, 0);
    QByteArray followed;
    EXPECT_TRUE(waitFor([&] {
        followed += follower.readAllStandardOutput();
        return followed == QByteArray("SECRET copied\n机密\n\0\uFEFFSECRET back\0", 37);
    })) << followed.toStdString();

    EXPECT_EQ(a.command({"send"}, "").code, 2);
    EXPECT_EQ(a.command({"send"}, "\xff\xff").code, 1);
    EXPECT_EQ(b.command({"pause"}).code, 0);
    EXPECT_TRUE(b.command({"send", "x"}).err.contains("resume"));
    EXPECT_EQ(a.command({"leave"}).code, 0);
    EXPECT_TRUE(waitFor([&] { return follower.state() == QProcess::NotRunning; }));
    EXPECT_EQ(follower.exitCode(), 1);
    EXPECT_TRUE(follower.readAllStandardError().contains("no longer in the group"));
    EXPECT_EQ(server.end(SIGTERM), 0);
    EXPECT_FALSE(server.log().contains("SECRET"));
    EXPECT_EQ(server.log().count("no clipboard"), 1) << server.log().toStdString();
}

} // namespace sorrelwind::test
