// The hub while its store does not work, and afterwards.

#include "relay/api.h"
#include "relay/sqlite_store.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

namespace sorrelwind::relay {
namespace {

using namespace std::chrono_literals;

/// A store in memory that fails as a whole, or for the members of a group alone.
class FrailStore : public Store {
public:
    void createGroup(const std::string& group, const DeviceRecord& first,
                     const Digest& token) override {
        sound().createGroup(group, first, token);
    }
    std::optional<Member> memberByToken(const Digest& token) override {
        return sound().memberByToken(token);
    }
    std::vector<DeviceRecord> devices(const std::string& group) override {
        return sound(!rosterBroken).devices(group);
    }
    bool rename(const Member& device, const std::string& name) override {
        return sound().rename(device, name);
    }
    Removal remove(const Member& device) override { return sound().remove(device); }
    void saveLastSeen(const std::vector<std::pair<std::string, std::int64_t>>& times) override {
        sound().saveLastSeen(times);
    }
    std::optional<CryptoRecord> crypto(const std::string& group) override {
        return sound().crypto(group);
    }
    CryptoRecord setCrypto(const std::string& group, const CryptoRecord& record) override {
        return sound().setCrypto(group, record);
    }
    void addCode(const Digest& code, const Member& by, std::int64_t now, std::int64_t expiresAt,
                 std::size_t maxLive) override {
        sound().addCode(code, by, now, expiresAt, maxLive);
    }
    std::optional<std::string> groupOfCode(const Digest& code, std::int64_t now) override {
        return sound().groupOfCode(code, now);
    }
    Join joinByCode(const Digest& code, const DeviceRecord& device, const Digest& token,
                    std::int64_t now, std::size_t maxDevices) override {
        return sound().joinByCode(code, device, token, now, maxDevices);
    }
    void probe() override { sound().probe(); }

    bool broken = false;
    bool rosterBroken = false;

private:
    SqliteStore& sound(bool works = true) {
        if (broken || !works)
            throw StoreError("the disk is full");
        return m_store;
    }

    SqliteStore m_store{":memory:"};
};

class Listener : public Outlet {
public:
    bool send(const Frame& frame) override {
        frames.push_back(boost::json::parse(*frame).as_object());
        return true;
    }
    void close(Goodbye) override {}

    std::vector<boost::json::object> frames;
};

class StoreFailureTest : public testing::Test {
protected:
    Response send(std::string_view method, std::string_view target, std::string_view body = {}) {
        return api.handle(head(method, target), body, now);
    }
    [[nodiscard]] Head head(std::string_view method, std::string_view target) const {
        return {
            method, target, authorization, "", "", "", boost::asio::ip::make_address("192.0.2.1")};
    }
    static std::string retryAfter(const Response& response) {
        for (const auto& [name, value] : response.headers)
            if (name == "Retry-After")
                return value;
        return {};
    }

    FrailStore store;
    Hub hub{store, {}};
    Site site;
    Api api{hub, site};
    Now now{Steady() + 1000h, 1'700'000'000'000};
    Hub::Joined first =
        *hub.createGroup({"first", "linux"}, boost::asio::ip::make_address("192.0.2.1"), now);
    Member member{first.group, first.device.id};
    std::string authorization = "Bearer " + first.token;
};

const char* const kItem = R"({"id":"A","ts":1,"mime":"t","payload":"p"})";

TEST_F(StoreFailureTest, requestsAreAnswered503AndWorkAgainLater) {
    const auto device = "/devices/" + first.device.id;
    const struct {
        const char* method;
        std::string path;
        const char* body;
        int later;
    } cases[] = {
        {"POST", "/groups", R"({"name":"a","platform":"b"})", 200},
        {"POST", "/pair", "", 200},
        {"POST", "/pair/claim", R"({"code":"AAAA-AAAA","name":"a","platform":"b"})", 403},
        {"GET", "/crypto", "", 200},
        {"POST", "/crypto", R"({"salt":"AAAAAAAAAAA="})", 200},
        {"PATCH", device, R"({"name":"b"})", 200},
        {"POST", "/items", kItem, 200},
        {"DELETE", device, "", 200},
    };
    store.broken = true;
    for (const auto& c : cases) {
        const auto response = send(c.method, c.path, c.body);
        EXPECT_EQ(response.status, 503) << c.path;
        EXPECT_EQ(retryAfter(response), "5") << c.path;
    }
    EXPECT_EQ(send("GET", "/healthz").status, 200) << "the process itself is well";
    EXPECT_EQ(api.bodyLimit(head("POST", "/items"), now), kMaxBody);
    EXPECT_EQ(api.tooLarge(head("POST", "/items"), now).status, 503);
    const auto target = "/ws?token=" + first.token;
    EXPECT_EQ(api.admitSocket(head("GET", target), now).error().status, 503);
    store.broken = false;
    for (const auto& c : cases)
        EXPECT_EQ(send(c.method, c.path, c.body).status, c.later) << c.path;
}

TEST_F(StoreFailureTest, aPublishOverTheSocketIsAnsweredAndCanBeTriedAgain) {
    Listener listener;
    hub.open(member, listener, now);
    const auto publish = [&] {
        hub.frame(member, listener, std::string(R"({"type":"publish","item":)") + kItem + '}', now);
        return boost::json::serialize(listener.frames.back());
    };
    store.broken = true;
    EXPECT_EQ(publish(), R"({"type":"ack","status":503,"ref":"A"})");
    store.broken = false;
    EXPECT_EQ(publish(), R"({"type":"ack","status":200,"ref":"A","recipients":0})");
}

TEST_F(StoreFailureTest, readinessFollowsTheStoreWithinFiveSeconds) {
    EXPECT_EQ(send("GET", "/readyz").status, 200);
    store.broken = true;
    now = now.after(5s);
    EXPECT_EQ(send("GET", "/readyz").status, 503);
    store.broken = false;
    now = now.after(4s);
    EXPECT_EQ(send("GET", "/readyz").status, 503) << "asked of the store too often";
    now = now.after(1s);
    EXPECT_EQ(send("GET", "/readyz").status, 200);
}

TEST_F(StoreFailureTest, deviceListsComeASecondLater) {
    Listener listener;
    hub.tick(now);
    hub.open(member, listener, now);
    listener.frames.clear();
    store.rosterBroken = true;
    now = now.after(100ms);
    hub.tick(now);
    EXPECT_TRUE(listener.frames.empty());
    EXPECT_EQ(hub.nextTick(), now.steady + 1s);
    store.rosterBroken = false;
    now = now.after(1s);
    hub.tick(now);
    ASSERT_EQ(listener.frames.size(), 1u);
    EXPECT_EQ(listener.frames[0].at("type").as_string(), "devices");
}

TEST_F(StoreFailureTest, theHubNeverWaitsForAMomentThatIsPast) {
    Listener listener;
    hub.tick(now);
    now = now.after(59s + 900ms);
    hub.open(member, listener, now);
    store.broken = true;
    now = now.after(100ms); // a list and the minute's sweep are due, and neither works
    hub.tick(now);
    EXPECT_GT(hub.nextTick(), now.steady);
    store.broken = false;
    now = now.after(60s);
    hub.tick(now);
    EXPECT_EQ(listener.frames.back().at("type").as_string(), "devices");
    EXPECT_EQ(store.devices(first.group)[0].lastSeen, 1'700'000'059'900) << "kept for later";
}

} // namespace
} // namespace sorrelwind::relay
