#include "tests/e2e/programs.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTcpServer>

#include <gtest/gtest.h>

#include <csignal>

namespace sorrelwind::test {

namespace {

using Membership = TwoDesktops;

QString idOf(const Desktop& desktop) {
    return desktop.status()[u"deviceId"].toString();
}

QString permissionsOf(const QString& file) {
    return QString::number(static_cast<int>(QFile::permissions(file)) & 0x777, 16);
}

const QString kOwnerOnly = "600";

} // namespace

TEST_F(Membership, FilesWithSecretsAreTheOwnersAlone) {
    a.createGroup(hub);
    for (const char* file : {"/account.json", "/control.sock", "/agent.lock"})
        EXPECT_EQ(permissionsOf(a.configDir() + QLatin1StringView(file)), kOwnerOnly) << file;
    EXPECT_EQ(permissionsOf(folder.filePath("hub.d/hub.db")), kOwnerOnly);
}

TEST_F(Membership, TypedCodeAndPassphraseJoinToo) {
    const Ended created = a.command({"create", "--server", hub.url(), "--name", "alpha"});
    ASSERT_EQ(created.code, 0) << created.err.toStdString();
    const QByteArray passphrase = created.out.trimmed();
    EXPECT_EQ(passphrase.size(), 23);
    ASSERT_TRUE(a.ready());

    // Lower case and another separator: the hub takes a typed code as people type it.
    QString code = a.pairing()[u"code"].toString().toLower();
    code.replace(u'-', u' ');
    const QStringList join{"join",   code,   "--server",          hub.url(),
                           "--name", "beta", "--passphrase-stdin"};
    const Ended joined = b.command(join, passphrase + "\n");
    ASSERT_EQ(joined.code, 0) << joined.err.toStdString();
    EXPECT_TRUE(joined.err.contains("Generating the encryption key…"));
    EXPECT_TRUE(joined.out.isEmpty());
    ASSERT_TRUE(b.ready());
    a.copy("typed code");
    EXPECT_TRUE(b.pastes("typed code"));

    const Ended used = sorrelwind({"--config-dir", folder.filePath("c"), "join", code, "--server",
                                   hub.url(), "--passphrase-stdin"},
                                  passphrase + "\n");
    EXPECT_EQ(used.code, 1);
    EXPECT_TRUE(used.err.contains("Invalid or expired pairing code"));
    EXPECT_FALSE(QFile::exists(folder.filePath("c/account.json")));
}

TEST_F(Membership, WrongPassphraseShowsOnTheReceiverAndIsEnteredAgain) {
    a.createGroup(hub);
    const QString code = a.pairing()[u"code"].toString();
    const Ended joined =
        b.command({"join", code, "--server", hub.url(), "--passphrase-stdin"}, "wrong\n");
    ASSERT_EQ(joined.code, 0);
    EXPECT_TRUE(joined.err.contains("shows with the first text that arrives"));
    ASSERT_TRUE(b.ready());
    EXPECT_TRUE(b.status()[u"keyFits"].isNull());
    Background following(kAgent, {"--config-dir", b.configDir(), "receive", "--follow"},
                         folder.filePath("follow"));
    a.copy("sealed with another key");
    EXPECT_TRUE(waitFor([&] { return following.log().contains(" passphrase)"); }));
    const QJsonObject status = b.status();
    EXPECT_TRUE(status[u"warning"].toString().contains("opened with this passphrase"));
    EXPECT_TRUE(status[u"keyFits"] == false && status[u"wantsPassphrase"] == true);
    EXPECT_TRUE(b.command({"status"}).out.contains("passphrase again with: "));
    EXPECT_EQ(b.paste(), std::nullopt);

    const Ended other = b.command({"passphrase"}, "neither\n");
    EXPECT_EQ(other.code, 1);
    EXPECT_TRUE(other.err.contains("nothing was changed")) << other.err.toStdString();
    QFile account(a.configDir() + "/account.json");
    ASSERT_TRUE(account.open(QIODevice::ReadOnly));
    const QByteArray passphrase =
        QJsonDocument::fromJson(account.readAll())[u"passphrase"].toString().toUtf8();
    const Ended right = b.command({"passphrase"}, passphrase + "\n");
    EXPECT_EQ(right.code, 0) << right.err.toStdString();
    EXPECT_TRUE(right.err.contains("The passphrase fits."));
    EXPECT_TRUE(b.pastes("sealed with another key")) << "it had waited";
    EXPECT_EQ(b.status()[u"keyFits"], true);
    EXPECT_EQ(permissionsOf(b.configDir() + "/account.json"), kOwnerOnly);
    EXPECT_FALSE(b.log().contains(passphrase) || b.log().contains("neither"));

    // Without an agent nothing can be tried; the next one takes it up.
    b.stopAgent(SIGTERM);
    EXPECT_TRUE(b.command({"passphrase"}, "wrong\n").err.contains("with the first text"));
    EXPECT_EQ(b.command({"passphrase"}, passphrase + "\n").code, 0);
    b.startAgent();
    ASSERT_TRUE(b.ready());
    a.copy("after the restart");
    EXPECT_TRUE(b.pastes("after the restart"));
}

TEST_F(Membership, RemovedDeviceLosesItsAccountAndSaysWhy) {
    a.createGroup(hub);
    b.joinByLink(a);
    EXPECT_EQ(a.command({"remove", idOf(a)}).code, 1);
    const Ended removed = a.command({"remove", idOf(b)});
    ASSERT_EQ(removed.code, 0) << removed.err.toStdString();
    EXPECT_EQ(a.devices().size(), 1) << "at once";
    ASSERT_TRUE(waitFor([&] { return b.status()[u"phase"] == "onboarding"; }));
    EXPECT_TRUE(b.status()[u"notice"].toString().contains("removed from its group"));
    EXPECT_FALSE(QFile::exists(b.configDir() + "/account.json"));
    const Ended gone = a.command({"remove", "no-such-device"});
    EXPECT_EQ(gone.code, 1);
    EXPECT_TRUE(gone.err.startsWith("Couldn't remove: "));

    // It may come back, and the notice goes.
    b.joinByLink(a);
    EXPECT_TRUE(b.status()[u"notice"].isNull());
    a.copy("welcome back");
    EXPECT_TRUE(b.pastes("welcome back"));
}

TEST_F(Membership, RemovedWhileKilledIsLearnedOnComingBack) {
    a.createGroup(hub);
    b.joinByLink(a);
    const QString id = idOf(b);
    b.stopAgent(SIGKILL);
    EXPECT_EQ(b.command({"status"}).code, 1) << "whatever it has left behind";
    ASSERT_EQ(a.command({"remove", id}).code, 0);
    b.startAgent();
    EXPECT_TRUE(waitFor([&] { return b.status()[u"phase"] == "onboarding"; }));
}

TEST_F(Membership, RenameAndLeave) {
    a.createGroup(hub);
    b.joinByLink(a);
    ASSERT_EQ(b.command({"rename", "办公室 Mac"}).code, 0);
    EXPECT_EQ(b.devices()[1][u"name"], "办公室 Mac") << "at once";
    EXPECT_TRUE(waitFor([&] { return a.devices()[1][u"name"] == "办公室 Mac"; }));
    const Ended tooLong = b.command({"rename", QString(100, u'x')});
    EXPECT_EQ(tooLong.code, 1);
    EXPECT_FALSE(tooLong.err.isEmpty());
    EXPECT_EQ(b.status()[u"deviceName"], "办公室 Mac");

    ASSERT_EQ(b.command({"leave"}).code, 0);
    EXPECT_EQ(b.status()[u"phase"], "onboarding");
    EXPECT_TRUE(b.status()[u"notice"].isNull()) << "leaving is no removal";
    EXPECT_FALSE(QFile::exists(b.configDir() + "/account.json"));
    EXPECT_TRUE(waitFor([&] { return a.devices().size() == 1; }));
    EXPECT_EQ(b.command({"pair"}).code, 1);
}

TEST_F(Membership, WhoAsksInChineseIsAnsweredInChinese) {
    const QTemporaryDir place;
    const Hub small(place.path(), {"--max-devices", "2"});
    a.createGroup(small);
    b.joinByLink(a);
    ASSERT_EQ(b.command({"send", "x"}).out, "Sent to 1 device\n");
    ASSERT_TRUE(waitFor([&] { return !a.status()[u"lastReceived"].isNull(); }));
    ASSERT_EQ(a.command({"send", "y"}).code, 0);

    auto chinese = ourEnvironment();
    chinese.insert("LC_ALL", "zh_CN.UTF-8"); // the agents' is another one
    const auto said = [&](const QString& configDir, const QStringList& arguments,
                          const QByteArray& input = {}) {
        const Ended ended =
            runToEnd(kAgent, QStringList{"--config-dir", configDir} + arguments, input, chinese);
        return QString::fromUtf8(ended.out + ended.err);
    };
    // Names, addresses, ids, and commands to type.
    static const QRegularExpression given(
        "alpha|beta|third|x11|http://\\S+|[-\\w]{22}|sorrelwind( --config-dir \\S+)? [a-z]+");
    const auto expectChinese = [](QString text) {
        SCOPED_TRACE(text.toStdString());
        EXPECT_TRUE(text.contains(QRegularExpression("\\p{Han}")));
        text.remove(given);
        EXPECT_FALSE(text.contains(QRegularExpression("[A-Za-z]{2,}|\\p{Han}[:,;]")));
    };
    const QStringList cases[] = {
        {"status"},         {"devices"},         {"send", "z"},
        {"remove", "none"}, {"remove", idOf(a)}, {"rename", QString(100, u'x')},
    };
    for (const QStringList& arguments : cases)
        expectChinese(said(a.configDir(), arguments));
    const QByteArray link = a.pairing()[u"link"].toString().toUtf8() + '\n';
    expectChinese(said(place.filePath("third"), {"join", "-", "--name", "third"}, link));
    EXPECT_EQ(a.command({"pause"}).code, 0);
    expectChinese(said(a.configDir(), {"send", "paused"}));
    EXPECT_EQ(a.command({"leave"}).code, 0);
    expectChinese(said(a.configDir(), {"status"}));
    expectChinese(said(a.configDir(), {"receive"}));
}

TEST_F(Membership, LinkOnTheCommandLineIsBlankedInTheProcessList) {
    QTcpServer silent;
    ASSERT_TRUE(silent.listen(QHostAddress::LocalHost));
    const QString link = u"http://127.0.0.1:%1/#pair=ABCD-EFGH&k=%2"_qs.arg(silent.serverPort())
                             .arg(QString(43, u'A'));
    QProcess joining;
    joining.start(kAgent, {"--config-dir", folder.filePath("c"), "join", link, "--name", "n"});
    ASSERT_TRUE(waitFor([&] { return silent.hasPendingConnections(); }));
    QFile commandLine(u"/proc/%1/cmdline"_qs.arg(joining.processId()));
    ASSERT_TRUE(commandLine.open(QIODevice::ReadOnly));
    const QByteArray seen = commandLine.readAll();
    EXPECT_TRUE(seen.contains("join"));
    EXPECT_FALSE(seen.contains("pair=")) << seen.toStdString();
    joining.kill();
    joining.waitForFinished();
}

TEST_F(Membership, QrCodeInTheTerminalIsTheLink) {
    a.createGroup(hub);
    const Ended pair = a.command({"pair"});
    ASSERT_EQ(pair.code, 0);
    const QStringList lines = QString::fromUtf8(pair.out).split(u'\n');
    // Each character is two modules, one above the other; light ones are drawn.
    QList<QByteArray> rows;
    QString link;
    for (const QString& line : lines) {
        if (line.startsWith("Pairing link: "))
            link = line.section(": ", 1);
        if (!line.startsWith(u'█'))
            continue;
        QByteArray upper;
        QByteArray lower;
        for (const QChar c : line) {
            upper += QByteArray(8, c == u'█' || c == u'▀' ? '\xff' : '\0');
            lower += QByteArray(8, c == u'█' || c == u'▄' ? '\xff' : '\0');
        }
        for (int i = 0; i < 16; ++i)
            rows += i < 8 ? upper : lower;
    }
    ASSERT_FALSE(rows.isEmpty());
    QFile image(folder.filePath("qr.pgm"));
    ASSERT_TRUE(image.open(QIODevice::WriteOnly));
    image.write(u"P5 %1 %2 255\n"_qs.arg(rows[0].size()).arg(rows.size()).toLatin1());
    image.write(rows.join());
    image.close();
    const Ended read = runToEnd("zbarimg", {"-q", "--raw", image.fileName()});
    EXPECT_EQ(QString::fromUtf8(read.out).trimmed(), link);
    EXPECT_TRUE(link.contains("&k="));
    EXPECT_TRUE(pair.out.contains("open " + hub.url().toUtf8() + " in a browser"));
    EXPECT_TRUE(pair.out.contains("passphrase in " + a.configDir().toUtf8()));
}

} // namespace sorrelwind::test
