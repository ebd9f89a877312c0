#include "hub/network.h"
#include "hub/sync_client.h"
#include "tests/support/print_qt.h"
#include "tests/support/scripted_hub.h"
#include "tests/support/throttle.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTcpSocket>
#include <QUuid>

namespace sorrelwind {
namespace {

using test::Answer;
using test::ScriptedHub;
using test::waitFor;
using namespace std::chrono_literals;
using State = SyncClient::State;

const QString kToken = u"g.sec+ret/=&%41 é"_qs;
const QString kPayload = u"床前明月光"_qs;
QByteArray g_log;

void keepLog(QtMsgType, const QMessageLogContext&, const QString& line) {
    g_log += line.toUtf8() + '\n';
}

QByteArray itemFrame(const QString& id, const QString& payload = kPayload) {
    const QByteArray frame =
        R"({"type":"item","item":{"id":"$id","ts":1,"device":"n","mime":"t","payload":"$text"}})";
    return QByteArray(frame).replace("$id", id.toUtf8()).replace("$text", payload.toUtf8());
}
QByteArray receiptOf(const QString& id) {
    return R"({"id":")" + id.toUtf8() + R"(","type":"received"})";
}

class Sync : public testing::Test {
protected:
    void SetUp() override {
        g_log.clear();
        m_before = qInstallMessageHandler(keepLog);
        m_hub.on("GET /prefix/crypto", {{}});
        start({});
    }
    void TearDown() override {
        m_client.reset();
        qInstallMessageHandler(m_before);
        for (const QByteArray& secret : {kToken.toUtf8(), QByteArray("sec"), kPayload.toUtf8()})
            EXPECT_FALSE(g_log.contains(secret)) << g_log.toStdString();
    }

    void start(SyncIntervals intervals, const QString& base = {}) {
        Account account;
        account.server = (base.isEmpty() ? m_hub.base() : base) + u"/prefix"_qs;
        account.token = kToken;
        m_client = std::make_unique<SyncClient>(m_network, account, intervals);
        m_client->onState = [this](State state) {
            EXPECT_EQ(state, m_client->state());
            m_events << QString::fromLatin1(syncStateName(state));
        };
        m_client->onDevices = [this](const QList<DeviceInfo>& devices) {
            m_events << u"devices %1"_qs.arg(devices.size());
        };
        m_client->onItem = [this](const CloudItem& item) {
            m_events << u"item "_qs + item.id;
            m_payloads << item.payload;
        };
    }
    [[nodiscard]] bool reaches(State state) {
        return waitFor([&] { return m_client->state() == state; });
    }
    void connect() {
        m_client->connect();
        ASSERT_TRUE(reaches(State::connected));
        ASSERT_TRUE(waitFor([&] { return m_hub.socket() != nullptr; }));
    }
    /// Whether the log says that a connection came to nothing, and why.
    [[nodiscard]] bool logs(const QByteArray& why) {
        return waitFor([&] { return g_log.contains("receive failed: " + why); });
    }
    /// Publishes; the outcome lands in m_outcomes as "true 2" or "false -".
    void publish(const QString& payload = kPayload) {
        m_client->publish(payload, [this](int status, std::optional<qint64> recipients) {
            m_outcomes << (status == 200 ? u"true "_qs : u"false "_qs) +
                              (recipients ? QString::number(*recipients) : u"-"_qs);
        });
    }
    [[nodiscard]] bool outcomesAre(const QStringList& expected) {
        return waitFor([&] { return m_outcomes.size() >= expected.size(); }) &&
               m_outcomes == expected;
    }
    void ackWith(const char* ack) {
        m_hub.onFrame = [this, ack](const QByteArray& frame) {
            const QJsonDocument publish = QJsonDocument::fromJson(frame);
            if (publish[u"type"] == u"publish"_qs)
                m_hub.send(
                    QByteArray(ack).replace("$ref", publish[u"item"][u"id"].toString().toUtf8()));
        };
    }

    ScriptedHub m_hub;
    Network m_network;
    std::unique_ptr<SyncClient> m_client;
    QStringList m_events;
    QStringList m_payloads;
    QStringList m_outcomes;
    QtMessageHandler m_before = nullptr;
};

TEST(SocketUrl, ReplacesPathAndQuery) {
    const std::tuple<const char*, QString, const char*> kTable[] = {
        {"https://hub.example", u"t"_qs, "wss://hub.example/ws?token=t"},
        {"http://h:8787/a/b", u"t"_qs, "ws://h:8787/ws?token=t"},
        {"https://h/x?token=no#f", u"t"_qs, "wss://h/ws?token=t"},
        {"http://[::1]:1", u"a+b&c=d%41/# é"_qs,
         "ws://[::1]:1/ws?token=a%2Bb%26c%3Dd%2541%2F%23%20%C3%A9"},
    };
    for (const auto& [server, token, url] : kTable)
        EXPECT_EQ(SyncClient::socketUrl(QLatin1StringView(server), token).toEncoded(), url);
}

TEST_F(Sync, GreetsWithItsTokenAndDeliversInOrder) {
    m_hub.greeting = itemFrame(u"I1"_qs).replace(R"("item",)", R"("hello","devices":[],)");
    connect();
    ASSERT_TRUE(waitFor([&] { return m_payloads.size() == 1; }));
    EXPECT_EQ(m_events,
              QStringList({u"connecting"_qs, u"connected"_qs, u"devices 0"_qs, u"item I1"_qs}));
    ASSERT_TRUE(waitFor([&] { return m_hub.frames.size() == 1; }));
    EXPECT_EQ(m_hub.frames, QList({receiptOf(u"I1"_qs)}));
    const auto& handshake = m_hub.requests.at(0);
    EXPECT_EQ(handshake.method + ' ' + handshake.path, "GET /ws");
    EXPECT_EQ(handshake.query, "token=" + QUrl::toPercentEncoding(kToken));
    EXPECT_FALSE(handshake.headers.contains("authorization"));
    EXPECT_EQ(g_log, "state -> connecting\nstate -> connected\n");
}

TEST_F(Sync, BinaryFramesCountRubbishDoesNot) {
    connect();
    const QByteArray deep = R"({"type":"item","x":)" + QByteArray(10'000, '[');
    for (const QByteArray& rubbish :
         {QByteArray("rubbish"), QByteArray(), deep, QByteArray(R"({"type":"ack","status":1e999})"),
          QByteArray(R"({"type":"ack","status":99999999999999999999})"),
          QByteArray(R"({"type":7})"), QByteArray(100'000, ' ')}) {
        m_hub.send(rubbish);
        m_hub.send(rubbish, ScriptedHub::binary);
    }
    m_hub.send(itemFrame(u"cut"_qs).replace("\"ts\"", "\"x\":\"\xe5\x89\",\"ts\""),
               ScriptedHub::binary); // no UTF-8
    m_hub.send(itemFrame(u"I1"_qs), ScriptedHub::binary);
    m_hub.send(itemFrame(u"I2"_qs));
    ASSERT_TRUE(waitFor([&] { return m_payloads.size() == 2; }));
    EXPECT_EQ(m_payloads, QStringList({kPayload, kPayload}));
    ASSERT_TRUE(waitFor([&] { return m_hub.frames.size() == 2; }));
    EXPECT_EQ(m_hub.frames, QList({receiptOf(u"I1"_qs), receiptOf(u"I2"_qs)}));
    EXPECT_EQ(m_client->state(), State::connected);
    // A text frame must be UTF-8: the connection fails, and another follows.
    m_hub.send("{\"type\":\"hello\",\"x\":\"\xe5\x89\"}");
    ASSERT_TRUE(waitFor([&] { return m_hub.sockets == 2; }));
}

TEST_F(Sync, LargeItemsGoBothWays) {
    connect();
    const QString large(3 * 1024 * 1024, u'é'); // 6 MB on the wire
    m_hub.send(itemFrame(u"I1"_qs, large));
    ASSERT_TRUE(waitFor([&] { return m_payloads.size() == 1; }));
    EXPECT_TRUE(m_payloads.first() == large);
    ackWith(R"({"type":"ack","ref":"$ref","status":200,"recipients":1})");
    publish(large);
    EXPECT_TRUE(outcomesAre({u"true 1"_qs}));
    EXPECT_TRUE(QJsonDocument::fromJson(m_hub.frames.last())[u"item"][u"payload"] == large);
}

TEST_F(Sync, PublishesAndTakesTheAck) {
    connect();
    ackWith(R"({"type":"ack","ref":"$ref","status":200,"recipients":2})");
    publish();
    EXPECT_TRUE(outcomesAre({u"true 2"_qs}));
    const QJsonObject frame = QJsonDocument::fromJson(m_hub.frames.at(0)).object();
    EXPECT_EQ(frame.keys(), QStringList({u"item"_qs, u"type"_qs}));
    EXPECT_EQ(frame[u"type"], u"publish"_qs);
    const QJsonObject item = frame[u"item"].toObject();
    EXPECT_EQ(item.keys(), QStringList({u"id"_qs, u"mime"_qs, u"payload"_qs, u"ts"_qs}));
    EXPECT_EQ(item[u"payload"], kPayload);
    const QString id = item[u"id"].toString();
    EXPECT_EQ(QUuid(id).toString(QUuid::WithoutBraces).toUpper(), id);
    EXPECT_LT(qAbs(item[u"ts"].toInteger() - QDateTime::currentMSecsSinceEpoch()), 60'000);

    ackWith(R"({"type":"ack","status":200})"); // names none: the oldest
    publish();
    EXPECT_TRUE(outcomesAre({u"true 2"_qs, u"true -"_qs}));
    ackWith(R"({"type":"ack","ref":"$ref","status":413,"recipients":0})");
    publish();
    EXPECT_TRUE(outcomesAre({u"true 2"_qs, u"true -"_qs, u"false 0"_qs}));
    EXPECT_EQ(m_hub.count("POST /prefix/items"), 0);
}

TEST_F(Sync, WithoutAnAckItFallsBackToRestAfterFourSeconds) {
    connect();
    m_hub.on("POST /prefix/items", {{.body = R"({"recipients":3})"}});
    QElapsedTimer clock;
    clock.start();
    publish();
    EXPECT_TRUE(outcomesAre({u"true 3"_qs}));
    EXPECT_GE(clock.elapsed(), 4'000);
    const auto& request = m_hub.requests.last();
    EXPECT_EQ(request.headers["authorization"], "Bearer " + kToken.toUtf8());
    EXPECT_EQ(request.headers["content-type"], "application/json");
    const QJsonDocument frame = QJsonDocument::fromJson(m_hub.frames.at(0));
    EXPECT_EQ(QJsonDocument::fromJson(request.body).object(), frame[u"item"].toObject());
    // The late ack finds nothing left to resolve.
    const QByteArray ref = frame[u"item"][u"id"].toString().toUtf8();
    m_hub.send(R"({"type":"ack","status":200,"ref":")" + ref + R"("})");
    m_hub.send(itemFrame(u"I1"_qs));
    ASSERT_TRUE(waitFor([&] { return m_payloads.size() == 1; }));
    EXPECT_EQ(m_outcomes.size(), 1);
}

TEST_F(Sync, RestPublishIsAcceptedOnlyWith200) {
    const QByteArray two = R"({"recipients":2})";
    const std::pair<Answer, QString> kTable[] = {
        {{.body = two}, u"true 2"_qs},
        {{.body = "{}"}, u"true -"_qs},
        {{.body = "<html>"}, u"true -"_qs},
        {{.body = R"({"recipients":"2"})"}, u"true -"_qs},
        {{.status = 201, .body = two}, u"false 2"_qs},
        {{.status = 401, .body = ""}, u"false -"_qs},
        {{.status = 413, .body = R"({"error":"too large"})"}, u"false -"_qs},
        {{.raw = "", .ending = Answer::close}, u"false -"_qs},
        {{.raw = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n" + two, .ending = Answer::close},
         u"false -"_qs},
    };
    QStringList expected;
    for (const auto& [answer, outcome] : kTable) {
        m_hub.on("POST /prefix/items", {answer});
        publish(); // never connected
        expected << outcome;
        EXPECT_TRUE(outcomesAre(expected)) << m_outcomes.last().toStdString();
    }
    EXPECT_TRUE(m_hub.frames.isEmpty());
}

TEST_F(Sync, PublishesUnderWayOutliveTheConnectionAndShutdown) {
    start({.ackTimeout = 200ms});
    connect();
    m_hub.on("POST /prefix/items", {{.body = R"({"recipients":1})"}});
    publish();
    m_hub.dropSocket();
    EXPECT_TRUE(outcomesAre({u"true 1"_qs}));
    ASSERT_TRUE(reaches(State::disconnected));
    ASSERT_TRUE(reaches(State::connected));
    publish();
    m_client->shutdown();
    publish(); // straight to REST
    EXPECT_TRUE(outcomesAre({u"true 1"_qs, u"true 1"_qs, u"true 1"_qs}));
}

TEST_F(Sync, ComesBackWhenTheHubDoes) {
    connect();
    QElapsedTimer clock;
    clock.start();
    m_hub.die();
    ASSERT_TRUE(reaches(State::disconnected));
    EXPECT_TRUE(logs("127.0.0.1:" + m_hub.port() + " ended the connection"));
    m_client->nudge();
    EXPECT_TRUE(logs("127.0.0.1:" + m_hub.port() + " refuses connections"));
    ASSERT_TRUE(reaches(State::disconnected));
    m_hub.revive();
    ASSERT_TRUE(reaches(State::connected));
    EXPECT_GE(clock.elapsed(), 1'000);
    EXPECT_EQ(m_hub.sockets, 2);
    m_hub.send("\x0f\xa1removed", ScriptedHub::closing); // code 4001: codes say nothing
    ASSERT_TRUE(reaches(State::disconnected));
    m_client->nudge();
    ASSERT_TRUE(reaches(State::connected));
    EXPECT_TRUE(logs("closed by the hub (4001 removed)"));
}

TEST_F(Sync, TheProbeDecidesBetweenComingBackAndRevoked) {
    const std::pair<Answer, bool> kTable[] = {
        {{.status = 403}, false},    {{.status = 500, .body = R"({"error":"x"})"}, false},
        {{.body = "<html>"}, false}, {{.raw = "", .ending = Answer::close}, false},
        {{.status = 401}, true},
    };
    connect();
    for (const auto& [answer, revokes] : kTable) {
        m_hub.on("GET /prefix/crypto", {answer});
        const auto probes = m_hub.count("GET /prefix/crypto");
        const int sockets = m_hub.sockets;
        m_hub.dropSocket();
        ASSERT_TRUE(revokes || waitFor([&] { return m_hub.sockets == sockets + 1; }));
        ASSERT_TRUE(reaches(revokes ? State::revoked : State::connected));
        EXPECT_GT(m_hub.count("GET /prefix/crypto"), probes);
    }
    const int sockets = m_hub.sockets;
    m_client->nudge();
    test::runFor(1500ms); // the first reconnect would come after 1 s
    EXPECT_EQ(m_hub.sockets, sockets);
    EXPECT_EQ(m_client->state(), State::revoked);
}

TEST_F(Sync, ARefusedHandshakeIsProbedToo) {
    m_hub.on("GET /ws", {{.status = 401}});
    m_hub.on("GET /prefix/crypto", {{.status = 401}});
    m_client->connect();
    ASSERT_TRUE(reaches(State::revoked));
    EXPECT_EQ(m_events, QStringList({u"connecting"_qs, u"disconnected"_qs, u"revoked"_qs}));
}

TEST_F(Sync, BrokenHandshakesEndInAnotherAttempt) {
    start({.heartbeat = 300ms});
    const QByteArray head = "HTTP/1.1 101 Switching Protocols\r\n";
    const std::pair<Answer, QByteArray> kTable[] = {
        {{.status = 200, .body = "<html>"}, "the upgrade was answered with 200"},
        {{.status = 302, .headers = "Location: " + m_hub.base().toLatin1() + "/elsewhere\r\n"},
         "the upgrade was answered with 302"},
        {{.raw = head + "Upgrade: websocket\r\nConnection: Upgrade\r\n"
                        "Sec-WebSocket-Accept: wrong\r\n\r\n"},
         "the answer to the upgrade is not that of a WebSocket"},
        {{.raw = "", .ending = Answer::close}, "127.0.0.1:"},
        {{.raw = "\xff\xfe\0\r\n\r\n", .ending = Answer::close},
         "the answer to the upgrade is no HTTP"},
        {{.raw = ""}, "the connection did not come up in time"},
        {{.raw = head + "a: ", .ending = Answer::dribble},
         "the connection did not come up in time"},
    };
    for (const auto& [answer, why] : kTable) {
        g_log.clear();
        m_hub.on("GET /ws", {answer});
        m_client->connect();
        EXPECT_TRUE(reaches(State::disconnected));
        EXPECT_TRUE(logs(why)) << why.toStdString() << g_log.toStdString();
    }
    EXPECT_EQ(m_hub.count("GET /elsewhere"), 0);
    EXPECT_FALSE(m_events.contains(u"connected"_qs));
}

TEST_F(Sync, OnASlowLineEachByteCounts) {
    // Several heartbeats and checks long, and longer than an ack or a reply may take.
    constexpr qint64 kBytesPerSecond = 200'000;
    const QString large(1'200'000, u'x');
    const test::Throttle line(m_hub.port().toUShort(), kBytesPerSecond);
    m_hub.on("POST /prefix/items", {{.body = R"({"recipients":3})"}});
    start({.heartbeat = 1500ms, .ackTimeout = 3s, .stallTimeout = 3s, .checkTimeout = 500ms},
          line.base());
    publish(large); // not connected yet
    EXPECT_TRUE(outcomesAre({u"true 3"_qs})) << "up, over REST";
    connect();
    m_hub.send(itemFrame(u"I1"_qs, large));
    m_client->check();
    ASSERT_TRUE(waitFor([&] { return !m_payloads.isEmpty(); })) << "down";
    ackWith(R"({"type":"ack","ref":"$ref","status":200,"recipients":1})");
    publish(large);
    m_client->check();
    EXPECT_TRUE(outcomesAre({u"true 3"_qs, u"true 1"_qs})) << "up";
    EXPECT_EQ(m_hub.count("POST /prefix/items"), 1);
    EXPECT_EQ(m_hub.sockets, 1) << g_log.toStdString();
}

TEST_F(Sync, AHubThatMakesItHoldTooMuchIsLeft) {
    const QByteArray more = QByteArray("x: y\r\n").repeated(1 << 20);
    for (const QByteArray& answer : {QByteArray(8 << 20, '1'), " OK\r\n" + more}) {
        m_hub.on("GET /ws", {{.raw = "HTTP/1.1 101" + answer}});
        m_client->connect();
        ASSERT_TRUE(logs("left the hub, as it goes too far: an answer to the upgrade"));
        g_log.clear();
    }
    m_hub.forget("GET /ws");

    const QByteArray ping("\x89\x00", 2);
    QByteArray device =
        R"({"id":"$","name":"n","platform":"p","createdAt":1,"lastSeen":2,"online":true})";
    const QByteArray list = R"({"type":"devices","devices":[)";
    QByteArray devices;
    for (int i = 0; i < 257; ++i)
        devices += (i == 0 ? "" : ",") + device;
    const std::pair<const char*, std::function<void()>> kTable[] = {
        {"it asks and does not read the answers",
         [&] {
             m_hub.socket()->setReadBufferSize(1);
             m_hub.socket()->write(ping.repeated(8 << 20));
         }},
        {"a frame of more than 64 MiB",
         [&] {
             m_hub.socket()->write(QByteArray("\x82\x7f\x00\x00\x00\x01\x00\x00\x00\x00", 10));
         }},
        {"more in one frame", [&] { m_hub.send(list + devices + "]}"); }},
        {"more in one frame",
         [&] { m_hub.send(list + device.replace("$", QByteArray(300, 'i')) + "]}"); }},
        {"more in one frame", [&] { m_hub.send(itemFrame(QString(300, u'i'))); }},
    };
    for (const auto& [what, attack] : kTable) {
        connect();
        attack();
        ASSERT_TRUE(logs(QByteArray("left the hub, as it goes too far: ") + what)) << what;
        g_log.clear();
        ASSERT_TRUE(reaches(State::disconnected));
    }
    EXPECT_TRUE(m_payloads.isEmpty());
}

TEST_F(Sync, APeerThatGoesSilentIsLeft) {
    start({.heartbeat = 150ms});
    connect();
    ASSERT_TRUE(waitFor([&] { return m_hub.pings >= 3; }));
    EXPECT_EQ(m_hub.sockets, 1) << "pongs keep it";
    m_hub.answersPings = false;
    ASSERT_TRUE(reaches(State::disconnected));
    EXPECT_TRUE(logs("no sign of life"));
}

TEST_F(Sync, ACheckKeepsWhoAnswersAndReplacesWhoDoesNot) {
    start({.checkTimeout = 300ms});
    connect();
    m_client->check();
    ASSERT_TRUE(waitFor([&] { return m_hub.pings == 1; }));
    test::runFor(500ms);
    EXPECT_EQ(m_hub.sockets, 1);
    m_hub.answersPings = false;
    m_client->check();
    ASSERT_TRUE(waitFor([&] { return m_hub.sockets == 2; }));
    ASSERT_TRUE(reaches(State::connected));
}

TEST_F(Sync, ShutdownSendsItsCloseCodeBeforeItReturns) {
    connect();
    QTcpSocket* peer = m_hub.socket();
    m_client->shutdown();
    m_client.reset();
    ASSERT_TRUE(peer->waitForReadyRead(5'000)); // no event loop: the process may be ending
    EXPECT_EQ(m_hub.closeCode, 1000);
    EXPECT_EQ(m_events, QStringList({u"connecting"_qs, u"connected"_qs}));
}

TEST_F(Sync, OwnersMayActInsideTheCallbacks) {
    // Each of these is called from the depth of the client itself.
    m_client->onState = [this](State state) {
        if (state == State::connected)
            publish();
    };
    m_client->onItem = [this](const CloudItem& item) {
        m_events << item.id;
        if (item.id == u"I1")
            publish();
        if (item.id == u"I2") {
            m_client->shutdown();
            m_client->connect();
        }
        if (item.id == u"I3")
            m_client.release()->deleteLater();
    };
    ackWith(R"({"type":"ack","ref":"$ref","status":200})");
    connect();
    EXPECT_TRUE(outcomesAre({u"true -"_qs}));
    m_hub.onFrame = {};
    m_hub.send(itemFrame(u"I1"_qs));
    ASSERT_TRUE(waitFor([&] { return m_hub.frames.size() == 3; }));
    m_hub.send(itemFrame(u"I2"_qs));
    ASSERT_TRUE(waitFor([&] { return m_hub.sockets == 2; }));
    ASSERT_TRUE(reaches(State::connected));
    m_hub.send(itemFrame(u"I3"_qs));
    ASSERT_TRUE(waitFor([&] { return m_client == nullptr && m_hub.socket() == nullptr; }));
    EXPECT_EQ(m_outcomes.size(), 1) << "those without an ack went with their client";
}

} // namespace
} // namespace sorrelwind
