// The WebSocket of the real program.

#include "tests/relay/client.h"
#include "tests/relay/hub_program.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <set>

namespace sorrelwind::relay::test {
namespace {

namespace json = boost::json;

class SocketTest : public testing::Test {
protected:
    explicit SocketTest(std::vector<std::string> flags = {}) : hub(folder.path(), flags) {}

    Socket open(const Device& device) { return {hub.port(), device.token}; }
    Reply send(const Request& wanted) { return request(hub.port(), wanted); }
    /// Publishes as Anna over REST.
    Reply post(const json::object& published) {
        return send({"POST", "/items", json::serialize(published), anna.token});
    }

    TemporaryFolder folder;
    HubProgram hub;
    Device anna = createGroup(hub.port(), "Anna");
    Device bert = joinGroup(hub.port(), anna, "Bert");
};

std::string idOf(const json::object& frame) {
    return std::string(frame.at("item").at("id").as_string());
}

/// Which devices of a list are online.
std::set<std::string> online(const json::object& frame) {
    std::set<std::string> ids;
    for (const auto& device : frame.at("devices").as_array())
        if (device.at("online").as_bool())
            ids.insert(std::string(device.at("id").as_string()));
    return ids;
}

/// Reads device lists until one shows these online.
void waitForOnline(Socket& socket, const std::set<std::string>& ids) {
    while (online(socket.next("devices")) != ids) {
    }
}

TEST_F(SocketTest, relaysBetweenTwoDevices) {
    auto a = open(anna);
    const auto hello = a.next("hello");
    EXPECT_FALSE(hello.contains("item"));
    ASSERT_EQ(hello.at("devices").as_array().size(), 2u);
    const auto& first = hello.at("devices").at(0).as_object();
    EXPECT_EQ(first.at("id"), json::string(anna.id));
    EXPECT_EQ(first.at("name"), "Anna");
    EXPECT_EQ(first.at("platform"), "linux");
    EXPECT_TRUE(first.at("online").as_bool());
    EXPECT_GE(first.at("lastSeen").as_int64(), first.at("createdAt").as_int64());
    EXPECT_FALSE(hello.at("devices").at(1).at("online").as_bool());

    auto b = open(bert);
    b.next("hello");
    waitForOnline(a, {anna.id, bert.id});
    waitForOnline(b, {anna.id, bert.id});

    a.publish(item("1", "sw1.secret.text"));
    const json::object ack{{"type", "ack"}, {"ref", "1"}, {"status", 200}, {"recipients", 1}};
    EXPECT_EQ(a.next("ack"), ack);
    auto expected = item("1", "sw1.secret.text");
    expected["from"] = anna.id;
    expected["device"] = "Anna";
    EXPECT_EQ(b.next("item").at("item"), json::value(expected));

    // The fallback of a client that has lost its answer.
    EXPECT_EQ(post(item("1", "sw1.x.y")).body, R"({"recipients":1})");
    EXPECT_EQ(post(item("2")).status, 200);
    EXPECT_EQ(idOf(b.next("item")), "2") << "item 1 came twice";

    EXPECT_EQ(send({"PATCH", "/devices/" + bert.id, R"({"name":"Berta"})", anna.token}).status,
              200);
    EXPECT_EQ(b.next("devices").at("devices").at(1).at("name"), "Berta");
    EXPECT_EQ(a.next("devices").at("devices").at(1).at("name"), "Berta");
    for (const auto& file : std::filesystem::directory_iterator(folder.path())) {
        std::ifstream stream(file.path(), std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(stream), {});
        EXPECT_EQ(bytes.find("sw1.secret.text"), std::string::npos) << "an item is on disk";
    }
}

TEST_F(SocketTest, itemsKeepTheirOrder) {
    auto a = open(anna);
    auto b = open(bert);
    for (int i = 0; i < 40; ++i) {
        const auto next = item(std::to_string(i));
        if (i % 4 == 3)
            EXPECT_EQ(post(next).status, 200);
        else
            a.publish(next);
        if (i % 4 == 2) // REST and socket are two ways in: order is that of acceptance
            while (a.next("ack").at("ref") != json::string(std::to_string(i))) {
            }
    }
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(idOf(b.next("item")), std::to_string(i));
}

TEST_F(SocketTest, aLateDeviceGetsTheNewestItemOnce) {
    auto a = open(anna);
    a.publish(item("old"));
    a.publish(item("new"));
    EXPECT_EQ(a.next("ack").at("recipients"), 0);
    EXPECT_EQ(a.next("ack").at("recipients"), 0);
    {
        auto b = open(bert);
        EXPECT_EQ(idOf(b.next("hello")), "new");
    }
    {
        auto b = open(bert);
        EXPECT_EQ(idOf(b.next("hello")), "new") << "no receipt was sent";
        b.send({{"type", "received"}, {"id", "new"}});
        b.publish(item("mark")); // answered in order, so the receipt has arrived by then
        b.next("ack");
    }
    auto b = open(bert);
    EXPECT_FALSE(b.next("hello").contains("item"));
}

TEST_F(SocketTest, whatItDoesNotUnderstandIsIgnored) {
    auto a = open(anna);
    for (const auto* text : {"", "rubbish", "{}", "[1]", R"({"type":"dance"})", R"({"type":5})",
                             R"({"type":"received"})"})
        a.sendText(text);
    a.sendText(R"({"type":"publish","item":{"id":"bad","ts":"now"}})");
    EXPECT_EQ(a.next("ack"), (json::object{{"type", "ack"}, {"ref", "bad"}, {"status", 400}}));
    a.publish(item("good"));
    EXPECT_EQ(a.next("ack").at("status"), 200);
    a.sendText(R"({"type":"dance"})" + std::string(70'000, ' '));
    EXPECT_EQ(a.closeCode(), 1009);
}

TEST_F(SocketTest, aDeadTokenIsRefusedAtTheUpgrade) {
    EXPECT_EQ(Socket(hub.port(), anna.token + "x").status(), 401);
    EXPECT_EQ(Socket(hub.port(), "").status(), 401);
    auto escaped = anna.token;
    escaped.replace(escaped.find('.'), 1, "%2e");
    EXPECT_EQ(Socket(hub.port(), escaped).status(), 101);
}

TEST_F(SocketTest, aRemovedDeviceIsToldAndCutOff) {
    auto a = open(anna);
    auto b = open(bert);
    b.next("hello");
    waitForOnline(a, {anna.id, bert.id});
    EXPECT_EQ(send({"DELETE", "/devices/" + bert.id, {}, anna.token}).status, 200);
    b.next("removed");
    EXPECT_EQ(b.closeCode(), 1008);
    EXPECT_TRUE(hub.waitForLog("why=removed"));
    EXPECT_EQ(Socket(hub.port(), bert.token).status(), 401);
    json::object list;
    do {
        list = a.next("devices");
    } while (list.at("devices").as_array().size() != 1);
    EXPECT_EQ(online(list), std::set<std::string>{anna.id});
}

TEST_F(SocketTest, aDeviceThatIsRemovedWhileItsRequestIsInFlightIsOut) {
    auto a = open(anna);
    const auto text = json::serialize(item("from outside"));
    const auto length = "\r\nContent-Length: " + std::to_string(text.size());
    for (int i = 0; i < 5; ++i) {
        const auto gone = joinGroup(hub.port(), anna);
        const auto authorization = "HTTP/1.1\r\nHost: h\r\nAuthorization: Bearer ";
        RawConnection socket(hub.port());
        RawConnection removal(hub.port());
        for (auto* connection : {&socket, &removal}) {
            connection->write("GET /healthz HTTP/1.1\r\nHost: h\r\n\r\n");
            connection->readUntil("}");
        }
        RawConnection post(hub.port());
        post.write("POST /items " + (authorization + gone.token + length) +
                   "\r\nExpect: 100-continue\r\n\r\n");
        post.readUntil("100 Continue");
        // Stopped, the hub finds the upgrade and the removal together: the device is removed
        // between its admission and the end of the handshake.
        hub.signal(SIGSTOP);
        socket.write(upgradeRequest(gone.token));
        removal.write("DELETE /devices/" + gone.id + ' ' + authorization + anna.token + "\r\n\r\n");
        hub.signal(SIGCONT);
        removal.readUntil("true");
        post.write(text);
        post.readUntil("401");
        socket.readUntil(R"({"type":"removed"})");
    }
    a.publish(item("mark"));
    for (auto frame = a.next(); frame && frame->at("type") != "ack"; frame = a.next())
        EXPECT_NE(frame->at("type"), "item");
}

TEST_F(SocketTest, whoSaysGoodbyeIsOfflineAtOnce) {
    auto a = open(anna);
    RawConnection raw(hub.port()); // says goodbye and leaves its connection open
    raw.write(upgradeRequest(bert.token));
    raw.readUntil("hello");
    waitForOnline(a, {anna.id, bert.id});
    raw.write(std::string("\x88\x82\0\0\0\0\x03\xe8", 8));
    waitForOnline(a, {anna.id});
    raw.readToEnd(); // and is cut off soon after
    EXPECT_TRUE(hub.waitForLog("why=left"));
}

TEST_F(SocketTest, aDeviceHoldsFourSockets) {
    auto b = open(bert);
    auto oldest = open(anna);
    std::vector<Socket> others;
    for (int i = 0; i < 3; ++i)
        others.push_back(open(anna));
    for (auto& socket : others)
        socket.next("hello");
    auto fifth = open(anna);
    EXPECT_EQ(oldest.closeCode(), 1008);
    EXPECT_TRUE(hub.waitForLog("why=too many sockets"));
    b.publish(item("1"));
    EXPECT_EQ(b.next("ack").at("recipients"), 1);
    EXPECT_EQ(idOf(fifth.next("item")), "1");
    EXPECT_EQ(idOf(others[0].next("item")), "1");
}

class SmallPayloadTest : public SocketTest {
protected:
    SmallPayloadTest() : SocketTest({"--max-payload", "300000", "--publish-rate", "0"}) {}
};

TEST_F(SmallPayloadTest, largeItemsAreRefusedAndLargerFramesCloseTheSocket) {
    auto a = open(anna);
    a.publish(item("fits", std::string(300'000, '"'))); // each escaped to two bytes
    EXPECT_EQ(a.closeCode(), 1009);
    EXPECT_TRUE(hub.waitForLog("why=too large"));
    auto again = open(anna);
    again.publish(item("fits", std::string(300'000, 'x')));
    EXPECT_EQ(again.next("ack").at("status"), 200);
    again.publish(item("large", std::string(300'001, 'x')));
    const json::object refusal{{"type", "ack"}, {"ref", "large"}, {"status", 413}};
    EXPECT_EQ(again.next("ack"), refusal);
}

TEST_F(SmallPayloadTest, aSlowReaderIsClosedAndFindsTheNewestItemLater) {
    auto a = open(anna);
    auto slow = open(bert);
    waitForOnline(a, {anna.id, bert.id});
    // Nothing is read on `slow` while more is published than its queue and the kernel can hold.
    int last = 0;
    for (; last < 400; ++last) {
        a.publish(item(std::to_string(last), std::string(300'000, 'x')));
        if (a.next("ack").at("recipients") == 0)
            break;
    }
    EXPECT_LT(last, 400);
    EXPECT_EQ(slow.closeCode(), 1013);
    EXPECT_TRUE(hub.waitForLog("why=too slow"));
    auto back = open(bert);
    EXPECT_EQ(idOf(back.next("hello")), std::to_string(last));
}

class LittleMemoryTest : public SocketTest {
protected:
    LittleMemoryTest()
        : SocketTest(
              {"--max-payload", "1000000", "--max-memory", "8000000", "--max-connections", "20"}) {}

    static constexpr std::size_t kLarge = 900'000;
};

TEST_F(LittleMemoryTest, theGreediestGroupLosesItsSocketsAndNobodyElseNotices) {
    auto a = open(anna);
    auto b = open(bert);
    waitForOnline(a, {anna.id, bert.id});
    const auto greedy = createGroup(hub.port());
    const Device devices[] = {greedy, joinGroup(hub.port(), greedy), joinGroup(hub.port(), greedy)};
    // Each sends the most of a message and never its end.
    const auto part =
        std::string("\x81\xff\0\0\0\0\0\x0f\x42\x40\0\0\0\0", 14) + std::string(kLarge, 'x');
    std::vector<std::unique_ptr<RawConnection>> sockets;
    for (int i = 0; i < 12; ++i) {
        sockets.push_back(std::make_unique<RawConnection>(hub.port()));
        sockets.back()->write(upgradeRequest(devices[i % 3].token));
        sockets.back()->readUntil("hello");
        sockets.back()->write(part);
    }
    EXPECT_TRUE(hub.waitForLog("why=out of memory"));
    const auto large = item("large", std::string(kLarge, 'x'));
    const auto refused = send({"POST", "/items", json::serialize(large), greedy.token});
    EXPECT_EQ(refused.status, 503) << refused.body;
    EXPECT_TRUE(refused.headers.contains("retry-after"));

    a.publish(large);
    EXPECT_EQ(a.next("ack").at("recipients"), 1);
    EXPECT_EQ(idOf(b.next("item")), "large");
    EXPECT_EQ(post(item("by REST", std::string(kLarge, 'x'))).status, 200);
    EXPECT_EQ(idOf(b.next("item")), "by REST");
}

TEST_F(LittleMemoryTest, anItemIsInMemoryOnceForAllWhoAreGreetedWithIt) {
    std::vector<Device> devices;
    for (int i = 0; i < 4; ++i)
        devices.push_back(joinGroup(hub.port(), anna));
    EXPECT_EQ(post(item("large", std::string(kLarge, 'x'))).status, 200);
    const auto before = hub.residentBytes();
    std::vector<std::unique_ptr<RawConnection>> sockets; // 14.4 MB of greetings, and nobody reads
    for (int i = 0; i < 16; ++i) {
        sockets.push_back(std::make_unique<RawConnection>(hub.port()));
        sockets.back()->write(upgradeRequest(devices[i % 4].token));
        sockets.back()->readUntil("hello");
    }
    EXPECT_EQ(hub.log().find("out of memory"), std::string::npos);
    EXPECT_LT(hub.residentBytes(), before + sockets.size() * kLarge / 2);
}

TEST_F(LittleMemoryTest, anAddressHasSoManyConnections) {
    std::vector<Socket> open;
    for (int i = 0; i < 4; ++i)
        for (const auto& device : {anna, bert})
            open.push_back(this->open(device));
    RawConnection oldest(hub.port());
    std::vector<std::unique_ptr<RawConnection>> others;
    const std::string health = "GET /healthz HTTP/1.1\r\nHost: h\r\n\r\n";
    const auto another = [&] {
        auto connection = std::make_unique<RawConnection>(hub.port());
        try {
            connection->write(health + "GET"); // and has work
            connection->readUntil("}");
        } catch (const std::exception&) {
            return false;
        }
        others.push_back(std::move(connection));
        return true;
    };
    for (int i = 0; i < 11; ++i)
        EXPECT_TRUE(another());
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!another() && std::chrono::steady_clock::now() < deadline) {
    }
    EXPECT_EQ(oldest.readToEnd(), "") << "the idle one goes after a moment";
    EXPECT_FALSE(another()) << "no room beside those with work";
    RawConnection elsewhere(hub.port(), "127.0.0.2");
    elsewhere.write(health);
    elsewhere.readUntil("}");
    open[0].publish(item("1"));
    EXPECT_EQ(idOf(open[1].next("item")), "1") << "open sockets stay";
}

} // namespace
} // namespace sorrelwind::relay::test
