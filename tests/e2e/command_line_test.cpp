#include "tests/e2e/programs.h"
#include "tests/support/print_qt.h"
#include "tests/support/scripted_hub.h"
#include "tests/support/wait.h"

#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QTcpServer>
#include <QTcpSocket>

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
    struct Case {
        const char* what;
        QStringList arguments;
        QByteArray input;
        int code;
        const char* says;
    };
    const Case cases[] = {
        {"no such command", {"frobnicate"}, {}, 2, "frobnicate"},
        {"no such option", {"status", "--colour"}, {}, 2, "--colour"},
        {"no id", {"remove"}, {}, 2, "ID"},
        {"address that is none", {"create", "--server", "ftp://h"}, {}, 2, "not an address"},
        {"address in capitals", {"create", "--server", "HTTP://h"}, {}, 2, "not an address"},
        {"link that is none", {"join", "https://hub.example/#k=x"}, {}, 2, "neither"},
        {"code that is none", {"join", "ABC"}, {}, 2, "neither"},
        {"nothing to join by", {"join", "-"}, {}, 2, "neither"},
        {"code without passphrase", {"join", "ABCD-EFGH"}, {}, 2, "--passphrase-stdin"},
        {"empty passphrase", {"create", "--passphrase-stdin"}, "\n", 2, "passphrase"},
        {"agent not running", {"status"}, {}, 1, "not running"},
        {"empty server", {"create", "--server", ""}, {}, 2, "--server"},
        {"blank name", {"rename", "  "}, {}, 2, "NAME"},
        {"empty id", {"remove", ""}, {}, 2, "ID"},
        {"empty config directory", {"--config-dir", "", "leave"}, {}, 2, "--config-dir"},
        {"nobody at the address",
         {"create", "--server", "http://127.0.0.1:9"},
         {},
         1,
         "Can't reach the server"},
        {"config directory cannot be made",
         {"--config-dir", folder.filePath("file/x"), "create", "--server", "http://127.0.0.1:9"},
         {},
         1,
         "--config-dir"},
        {"agent's config directory cannot be made",
         {"--headless", "--config-dir", folder.filePath("file/x")},
         {},
         1,
         "--config-dir"},
        {"path too long for a socket",
         {"--headless", "--config-dir", folder.filePath(QString(110, u'p'))},
         {},
         1,
         "shorter path"},
        {"help", {"--help"}, {}, 0, ""},
        {"empty text", {"send", ""}, "from the input", 2, "no text to send"},
        {"text cut in mid-letter", {"send"}, "abc\xe2\x82", 1, "UTF-8"},
    };
    for (const Case& c : cases) {
        QStringList arguments = c.arguments;
        if (!arguments.contains("--config-dir"))
            arguments = QStringList{"--config-dir", fresh} + arguments;
        const Ended ended = sorrelwind(arguments, c.input);
        EXPECT_EQ(ended.code, c.code) << c.what;
        EXPECT_TRUE(ended.err.contains(c.says)) << c.what << ": " << ended.err.toStdString();
        EXPECT_FALSE(QFile::exists(fresh + "/account.json")) << c.what;
    }
}

TEST(CommandLine, AccountFilesThatStandAreNeverLost) {
    QTemporaryDir folder;
    const QString file = folder.filePath("account.json");
    struct Case {
        QByteArray content;
        const char* says;
    };
    for (const auto& [content, says] :
         {Case{kAccount, "in a group already"}, Case{"{\"server\": ", "move it away"},
          Case{"", "move it away"}}) {
        writeFile(file, content);
        const Ended ended = sorrelwind({"--config-dir", folder.path(), "create"});
        EXPECT_EQ(ended.code, 1);
        EXPECT_TRUE(ended.err.contains(says)) << ended.err.toStdString();
        EXPECT_EQ(readFile(file), content);
    }
}

TEST(CommandLine, HubsThatAnswerNonsenseAreNamedInASentence) {
    struct Case {
        const char* what;
        QByteArray answer; // empty: the connection is closed at once
        const char* says;
    };
    const QByteArray ok = "HTTP/1.1 200 OK\r\nConnection: close\r\n";
    const Case cases[] = {
        {"HTML", ok + "Content-Type: text/html\r\n\r\n<html>hello</html>", "Unexpected response"},
        {"204", "HTTP/1.1 204 No Content\r\n\r\n", "Server error (204)"},
        {"redirect", "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:9/\r\n\r\n",
         "Server error (302)"},
        {"5 MB of JSON", ok + "\r\n{\"token\":\"" + QByteArray(5'000'000, 'x') + "\"}",
         "Unexpected response"},
        {"no words", "HTTP/1.1 500 No\r\nConnection: close\r\n\r\n{\"error\":\"\"}",
         "Server error (500)"},
        {"words that steer the terminal",
         "HTTP/1.1 500 No\r\nConnection: close\r\n\r\n{\"error\":\"a\\u001b[2J\\nb\"}",
         "a\uFFFD[2J\uFFFDb"},
        {"its own words",
         "HTTP/1.1 503 No\r\nConnection: close\r\n\r\n{\"error\":\"closed on Sunday\"}",
         "closed on Sunday"},
        {"close at once", "", "Can't reach the server"},
        {"no HTTP", "SSH-2.0-whatever\r\n", ""},
    };
    for (const Case& c : cases) {
        QTemporaryDir folder;
        QTcpServer hub;
        ASSERT_TRUE(hub.listen(QHostAddress::LocalHost));
        QObject::connect(&hub, &QTcpServer::newConnection, [&] {
            QTcpSocket* socket = hub.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket, &c] {
                socket->readAll();
                socket->write(c.answer);
                socket->disconnectFromHost();
            });
        });
        QProcess create;
        create.setProcessEnvironment([] {
            auto environment = QProcessEnvironment::systemEnvironment();
            environment.insert("LC_ALL", "C.UTF-8");
            return environment;
        }());
        create.start(SORRELWIND_BIN_DIR "/sorrelwind",
                     {"--config-dir", folder.path(), "create", "--server",
                      QStringLiteral("http://127.0.0.1:%1").arg(hub.serverPort())});
        ASSERT_TRUE(waitFor([&] { return create.state() == QProcess::NotRunning; })) << c.what;
        EXPECT_EQ(create.exitCode(), 1) << c.what;
        const QByteArray err = create.readAllStandardError();
        EXPECT_TRUE(err.contains(c.says)) << c.what << ": " << err.toStdString();
        EXPECT_FALSE(QFile::exists(folder.filePath("account.json"))) << c.what;
    }
}

TEST(CommandLine, AgentEndsWithItsDesktopAndByASignalInMidDerivation) {
    QTemporaryDir folder;
    Desktop desktop(folder.path(), QStringLiteral("alpha"));
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
    Background agent(SORRELWIND_BIN_DIR "/sorrelwind", {"--headless", "--config-dir", endless},
                     folder.filePath("endless.log"), QProcessEnvironment::systemEnvironment());
    ASSERT_TRUE(waitFor([&] { return hub.count("GET /crypto") > 0; }));
    runFor(std::chrono::milliseconds(300)); // the reply arrives and the derivation begins
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST(CommandLine, RelativeConfigDirectoryHoldsForAgentAndCommands) {
    QTemporaryDir folder;
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(folder.path()));
    {
        Background agent(SORRELWIND_BIN_DIR "/sorrelwind", {"--headless", "--config-dir", "here"},
                         folder.filePath("log"), QProcessEnvironment::systemEnvironment());
        EXPECT_TRUE(waitFor([] {
            return sorrelwind({"--config-dir", "here", "status"}).code == 0;
        }));
    }
    QDir::setCurrent(before);
}

TEST(CommandLine, SecondAgentOnADirectoryEndsWithASentence) {
    QTemporaryDir folder;
    const Desktop desktop(folder.path(), QStringLiteral("alpha"));
    const Ended second = sorrelwind({"--headless", "--config-dir", desktop.configDir()});
    EXPECT_EQ(second.code, 3);
    EXPECT_TRUE(second.err.contains("running on")) << second.err.toStdString();
    EXPECT_EQ(desktop.status()[QStringLiteral("phase")], "onboarding");
}

TEST(CommandLine, KilledAgentLeavesNothingThatStopsTheNext) {
    QTemporaryDir folder;
    Desktop desktop(folder.path(), QStringLiteral("alpha"));
    desktop.stopAgent(SIGKILL);
    EXPECT_EQ(desktop.command({"status"}).code, 1);
    desktop.startAgent();
    EXPECT_EQ(desktop.command({"status"}).code, 0);
}

TEST(CommandLine, ControlSocketSurvivesRubbish) {
    QTemporaryDir folder;
    const Desktop desktop(folder.path(), QStringLiteral("alpha"));
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

TEST(CommandLine, ChineseThroughout) {
    QTemporaryDir folder;
    writeFile(folder.filePath("preferences.json"), R"({"language":"zh"})");
    const Ended ended = sorrelwind({"--config-dir", folder.path(), "status"});
    EXPECT_TRUE(ended.err.contains("没有在运行")) << ended.err.toStdString();
    const Ended create =
        sorrelwind({"--config-dir", folder.path(), "create", "--server", "http://127.0.0.1:9"});
    EXPECT_TRUE(create.err.contains("正在创建设备组…\n无法连接服务器，请检查网络"))
        << create.err.toStdString();
}

} // namespace sorrelwind::test
