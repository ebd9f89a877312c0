#include "tests/e2e/programs.h"
#include "tests/support/print_qt.h"
#include "tests/support/scripted_hub.h"
#include "tests/support/wait.h"

#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <csignal>

namespace sorrelwind::test {

namespace {

const char kAccount[] = R"({"server":"http://127.0.0.1:9","groupId":"g","deviceId":"d",
    "deviceName":"n","token":"g.t","key":"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA="})";

void writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

TEST(CommandLine, EveryWrongUseHasACodeAndASentence) {
    QTemporaryDir folder;
    const QString fresh = folder.filePath("fresh");
    writeFile(folder.filePath("file"), "");
    const QString nobody = "http://127.0.0.1:9";
    const QString below = folder.filePath("file/x");
    const QString tooLong = folder.filePath(QString(110, u'p'));
    const struct {
        QStringList arguments;
        int code;
        const char* says;
        QByteArray input = {};
    } cases[] = {
        {{"frobnicate"}, 2, "frobnicate. See: sorrelwind --help\n"},
        {{"status", "--colour"}, 2, "--colour. See: sorrelwind status --help\n"},
        {{"remove"}, 2, "ID"},
        {{"create", "--server", "ftp://h"}, 2, "not an address"},
        {{"create", "--server", "HTTP://h"}, 2, "not an address"},
        {{"join", "https://hub.example/#k=x"}, 2, "neither"},
        {{"join", "ABC"}, 2, "See: sorrelwind join --help\n"},
        {{"join", "-"}, 2, "neither"},
        {{"join", "ABCD-EFGH"}, 2, "--server"},
        {{"join", "ABCD-EFGH", "--server", nobody}, 2, "--passphrase-stdin"},
        {{"create"}, 2, " create --host"},
        {{"create", "--host", "--server", nobody}, 2, "--host"},
        {{"create", "--server", nobody, "--passphrase-stdin"}, 2, "passphrase", "\n"},
        {{"status"}, 1, "not running"},
        {{"passphrase", "words"}, 2, "from standard input, never"},
        {{"passphrase"}, 1, "in no group", "words\n"},
        {{"create", "--server", ""}, 2, "--server"},
        {{"rename", "  "}, 2, "NAME"},
        {{"remove", ""}, 2, "ID"},
        {{"--config-dir", "", "leave"}, 2, "--config-dir"},
        {{"create", "--server", nobody}, 1, "Can't reach the server"},
        {{"--config-dir", below, "create", "--server", nobody}, 1, "--config-dir"},
        {{"--headless", "--config-dir", below}, 1, "--config-dir"},
        {{"--headless", "--config-dir", tooLong}, 1, "shorter path"}, // than a socket's may be
        {{"--help"}, 0, ""},
        {{"send", ""}, 2, "no text to send", "from the input"},
        {{"send"}, 1, "UTF-8", "abc\xe2\x82"}, // cut in mid-letter
    };
    for (const auto& [arguments, code, says, input] : cases) {
        SCOPED_TRACE(arguments.join(' ').toStdString());
        const QStringList where = {"--config-dir", fresh};
        const Ended ended =
            sorrelwind(arguments.contains(where[0]) ? arguments : where + arguments, input);
        EXPECT_EQ(ended.code, code);
        EXPECT_TRUE(ended.err.contains(says)) << ended.err.toStdString();
        EXPECT_FALSE(ended.err.contains("words")) << "what may be a secret";
        EXPECT_FALSE(QFile::exists(fresh + "/account.json"));
    }
}

TEST(CommandLine, AccountFilesThatStandAreNeverLost) {
    QTemporaryDir folder;
    const QString file = folder.filePath("account.json");
    const std::pair<QByteArray, const char*> cases[] = {
        {kAccount, "in a group already"}, {"{\"server\": ", "move it away"}, {"", "move it away"}};
    for (const auto& [content, says] : cases) {
        writeFile(file, content);
        const Ended ended = sorrelwind({"--config-dir", folder.path(), "create"});
        EXPECT_EQ(ended.code, 1);
        EXPECT_TRUE(ended.err.contains(says)) << ended.err.toStdString();
        EXPECT_EQ(readFile(file), content);
    }
}

TEST(CommandLine, WhatAHubAnswersIsSaidInASentence) {
    const std::pair<Answer, const char*> cases[] = {
        {{.body = "<html>hello</html>"}, "Unexpected response"},
        {{.status = 500, .body = R"({"error":""})"}, "Server error (500)"},
        {{.status = 500, .body = R"({"error":"a\u001b[2J\nb"})"}, "a\uFFFD[2J\uFFFDb"},
        {{.status = 503, .body = R"({"error":"closed on Sunday"})"}, "closed on Sunday"},
        {{.raw = "", .ending = Answer::close}, "Can't reach the server"},
    };
    for (const auto& [answer, says] : cases) {
        QTemporaryDir folder;
        ScriptedHub hub;
        hub.on("POST /groups", {answer});
        const Ended ended =
            sorrelwind({"--config-dir", folder.path(), "create", "--server", hub.base()});
        EXPECT_EQ(ended.code, 1) << says;
        EXPECT_TRUE(ended.err.contains(says)) << says << ": " << ended.err.toStdString();
        EXPECT_FALSE(QFile::exists(folder.filePath("account.json"))) << says;
    }
}

TEST(CommandLine, AgentEndsWithItsDesktopAndByASignalInMidDerivation) {
    QTemporaryDir folder;
    Desktop desktop(folder.path(), "alpha");
    desktop.endDesktop();
    EXPECT_TRUE(waitFor([&] { return !desktop.agentRunning(); }));

    // A hub that asks for as many iterations as a record can hold.
    ScriptedHub hub;
    hub.on("GET /crypto",
           {Answer{.body = R"({"crypto":{"v":1,"kdf":"x","iters":2147483647,"salt":"AAAA"}})"}});
    const QString endless = folder.filePath("endless");
    ASSERT_TRUE(QDir().mkpath(endless));
    QByteArray account(kAccount);
    account.replace("http://127.0.0.1:9", hub.base().toUtf8());
    account.replace("\"key\":\"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=\"",
                    "\"passphrase\":\"p\"");
    writeFile(endless + "/account.json", account);
    Background agent(kAgent, {"--headless", "--config-dir", endless}, endless + ".log");
    ASSERT_TRUE(waitFor([&] { return hub.count("GET /crypto") > 0; }));
    runFor(std::chrono::milliseconds(300)); // the reply arrives and the derivation begins
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST(CommandLine, InterruptedInALongDerivationADeviceIsGivenBack) {
    QTemporaryDir folder;
    ScriptedHub hub;
    hub.on("POST /groups", {Answer{.body = R"({"device":{"id":"d","name":"n"},"token":"g.t"})"}});
    hub.on("GET /crypto",
           {Answer{.body = R"({"crypto":{"v":1,"kdf":"x","iters":2147483647,"salt":"AAAA"}})"}});
    hub.on("DELETE /devices/d", {Answer{}});
    Background creating(kAgent, {"--config-dir", folder.path(), "create", "--server", hub.base()},
                        folder.filePath("log"));
    ASSERT_TRUE(waitFor([&] { return creating.log().contains("2147483647 rounds"); }));
    creating.signal(SIGINT);
    EXPECT_TRUE(waitFor([&] { return !creating.running(); }));
    EXPECT_TRUE(creating.log().contains("Cancelled: no group was joined"));
    EXPECT_EQ(hub.count("DELETE /devices/d"), 1);
    EXPECT_FALSE(QFile::exists(folder.filePath("account.json")));
}

TEST(CommandLine, RelativeConfigDirectoryHoldsForAgentAndCommands) {
    QTemporaryDir folder;
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(folder.path()));
    {
        Background agent(kAgent, {"--headless", "--config-dir", "here"}, folder.filePath("log"));
        EXPECT_TRUE(waitFor([] {
            return sorrelwind({"--config-dir", "here", "status"}).code == 0;
        }));
    }
    QDir::setCurrent(before);
}

TEST(CommandLine, SecondAgentOnADirectoryEndsWithASentence) {
    QTemporaryDir folder;
    const Desktop desktop(folder.path(), "alpha");
    const Ended second = sorrelwind({"--headless", "--config-dir", desktop.configDir()});
    EXPECT_EQ(second.code, 3);
    EXPECT_TRUE(second.err.contains("running on")) << second.err.toStdString();
    // The running one is asked, also where there is no desktop for a new one.
    auto noDesktop = ourEnvironment();
    noDesktop.remove("DISPLAY");
    noDesktop.remove("WAYLAND_DISPLAY");
    const Ended third = runToEnd(kAgent, {"--config-dir", desktop.configDir()}, {}, noDesktop);
    EXPECT_EQ(third.code, 3);
    EXPECT_TRUE(third.err.contains("running on")) << third.err.toStdString();
    const Ended fourth =
        runToEnd(kAgent, {"--config-dir", folder.filePath("fresh")}, {}, noDesktop);
    EXPECT_EQ(fourth.code, 1);
    EXPECT_TRUE(fourth.err.contains("no desktop here")) << fourth.err.toStdString();
    EXPECT_EQ(desktop.status()[u"phase"], "onboarding");
}

TEST(CommandLine, SaysTheLineThatStartsTheAgentHere) {
    QTemporaryDir folder;
    auto noDesktop = ourEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        noDesktop.remove(name);
    const Xvfb x;
    auto desktop = noDesktop;
    desktop.insert("DISPLAY", QString::fromLatin1(x.display()));
    const QString plain = folder.filePath("plain");
    const QString quoted = folder.filePath("it's a folder");
    const QString inQuotes = u"'%1/it'\\''s a folder'"_qs.arg(folder.path());
    const struct {
        QString configDir;
        QProcessEnvironment environment;
        QString line;
    } cases[] = {
        {plain, noDesktop, u" --config-dir %1 --headless &\n"_qs.arg(plain)},
        {plain, desktop, u" --config-dir %1 &\n"_qs.arg(plain)},
        {quoted, noDesktop, u" --config-dir %1 --headless &\n"_qs.arg(inQuotes)},
    };
    for (const auto& [configDir, environment, line] : cases) {
        const Ended ended = runToEnd(kAgent, {"--config-dir", configDir, "pair"}, {}, environment);
        EXPECT_EQ(ended.code, 1);
        EXPECT_TRUE(ended.err.endsWith("sorrelwind" + line.toUtf8())) << ended.err.toStdString();
    }
}

TEST(CommandLine, ControlSocketSurvivesRubbish) {
    QTemporaryDir folder;
    const Desktop desktop(folder.path(), "alpha");
    for (const QByteArray& rubbish :
         {QByteArray("\n"), QByteArray("[]\n"), QByteArray("{\"command\":5}\n"),
          QByteArray("{\"command\":\"nonsense\"}\n"), QByteArray(200'000, '{'),
          QByteArray("\0\xff\xfe\n", 4)}) {
        QLocalSocket socket;
        socket.connectToServer(desktop.configDir() + "/control.sock");
        ASSERT_TRUE(socket.waitForConnected());
        socket.write(rubbish);
        EXPECT_TRUE(waitFor([&] { return socket.state() == QLocalSocket::UnconnectedState; }));
    }
    EXPECT_EQ(desktop.command({"status"}).code, 0);
}

TEST(CommandLine, EveryFieldOfJsonIsInTheManual) {
    QTemporaryDir folder;
    QFile manual(SORRELWIND_MANUAL);
    ASSERT_TRUE(manual.open(QIODevice::ReadOnly));
    QSet<QString> told;
    for (const QString& line : QString::fromUtf8(manual.readAll()).split(u'\n')) {
        if (line.startsWith(".Va ") || line.startsWith(".It Va "))
            for (const QString& word : line.split(u' '))
                told.insert(word);
    }
    const Hub hub(folder.path());
    Desktop a(folder.path(), "alpha");
    Desktop b(folder.path(), "beta");
    const QStringList outside = a.status().keys();
    a.createGroup(hub);
    b.joinByLink(a);
    EXPECT_EQ(b.command({"send", "x"}).code, 0);
    ASSERT_TRUE(waitFor([&] { return !a.status()[u"lastReceived"].isNull(); }));
    EXPECT_EQ(a.command({"send", "y"}).code, 0);
    const QJsonObject status = a.status();
    EXPECT_EQ(status.keys(), outside) << "none comes and goes";
    for (const QJsonObject& object :
         {status, status[u"lastSent"].toObject(), status[u"lastReceived"].toObject(),
          a.devices()[0].toObject(), a.pairing()}) {
        EXPECT_FALSE(object.isEmpty());
        for (const QString& key : object.keys())
            EXPECT_TRUE(told.contains(key)) << key.toStdString();
    }
}

TEST(CommandLine, ChineseThroughout) {
    QTemporaryDir folder;
    writeFile(folder.filePath("preferences.json"), R"({"language":"zh"})");
    const Ended ended = sorrelwind({"--config-dir", folder.path(), "status"});
    EXPECT_TRUE(ended.err.contains("没有在运行")) << ended.err.toStdString();
    // What other libraries and the system say is in their own language.
    auto chinese = QProcessEnvironment::systemEnvironment();
    chinese.insert("LC_ALL", "zh_CN.UTF-8");
    writeFile(folder.filePath("file"), "");
    const QStringList below = {"--config-dir", folder.filePath("file/x")};
    const QStringList cases[] = {
        {"frobnicate"},
        {"status", "--colour"},
        {"remove"},
        {"send", "one", "two"},
        {"create", "--server"},
        {"create", "--server", "h", "--server", "h"},
        {"status", "--json=maybe"},
        {"rename", " "},
        {"--clipboard", "paper"},
        below + QStringList{"create"},
        below + QStringList{"--headless"},
        {"--config-dir", folder.filePath(QString(110, u'p')), "--headless"},
    };
    static const QRegularExpression given(
        "sorrelwind: .*|-[-a-z]+|sorrelwind( [a-z]+)?|frobnicate|paper|maybe|two|json|"
        "/\\S*|[A-Z]{2,}|x11|wayland");
    for (const QStringList& arguments : cases) {
        const Ended wrong = runToEnd(kAgent, arguments, {}, chinese);
        EXPECT_NE(wrong.code, 0) << arguments.join(' ').toStdString();
        QString said = QString::fromUtf8(wrong.err);
        said.remove(given);
        EXPECT_FALSE(said.contains(QRegularExpression("[A-Za-z]{2,}"))) << wrong.err.toStdString();
    }
    const Ended create =
        sorrelwind({"--config-dir", folder.path(), "create", "--server", "http://127.0.0.1:9"});
    EXPECT_TRUE(create.err.contains("正在创建设备组…\n无法连接服务器，请检查网络"))
        << create.err.toStdString();
}

} // namespace sorrelwind::test
