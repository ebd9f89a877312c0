// The hub while its store does not work, and afterwards.

#include "relay/api.h"
#include "relay/sqlite_store.h"
#include "tests/relay/hub_program.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

namespace sorrelwind::relay {
namespace {

using namespace std::chrono_literals;

class Listener : public Outlet {
public:
    bool send(const Frame& frame) override {
        frames.push_back(boost::json::parse(frame.text()).as_object());
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
        return {.method = method,
                .target = target,
                .authorization = authorization,
                .contentType = "application/json",
                .client = boost::asio::ip::make_address("192.0.2.1")};
    }
    static std::string retryAfter(const Response& response) {
        for (const auto& [name, value] : response.headers)
            if (name == "Retry-After")
                return value;
        return {};
    }

    /// Its tables go, and come back later: what is asked of the store meanwhile fails.
    void setBroken(bool broken) {
        for (const std::string table : {"groups", "devices", "pairing_codes", "probes"}) {
            const auto gone = "gone_" + table;
            const auto sql =
                "ALTER TABLE " + (broken ? table : gone) + " RENAME TO " + (broken ? gone : table);
            other.run(sql.c_str());
        }
    }

    test::TemporaryFolder folder;
    SqliteStore store{folder.path() / "hub.db"};
    Database other{folder.path() / "hub.db"};
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
    const std::tuple<const char*, std::string, const char*, int> cases[] = {
        {"POST", "/groups", R"({"name":"a","platform":"b"})", 200},
        {"POST", "/pair", "", 200},
        {"POST", "/pair/claim", R"({"code":"AAAA-AAAA","name":"a","platform":"b"})", 403},
        {"GET", "/crypto", "", 200},
        {"POST", "/crypto", R"({"salt":"AAAAAAAAAAA="})", 200},
        {"PATCH", device, R"({"name":"b"})", 200},
        {"POST", "/items", kItem, 200},
        {"DELETE", device, "", 200},
    };
    setBroken(true);
    for (const auto& [method, path, body, later] : cases) {
        const auto response = send(method, path, body);
        EXPECT_EQ(response.status, 503) << path;
        EXPECT_EQ(retryAfter(response), "5") << path;
    }
    EXPECT_EQ(send("GET", "/healthz").status, 200) << "the process itself is well";
    EXPECT_EQ(api.bodyLimit(head("POST", "/items"), now).bytes, kMaxBody);
    EXPECT_EQ(api.tooLarge(head("POST", "/items"), now).status, 503);
    const auto target = "/ws?token=" + first.token;
    EXPECT_EQ(api.admitSocket(head("GET", target), now).error().status, 503);
    setBroken(false);
    for (const auto& [method, path, body, later] : cases)
        EXPECT_EQ(send(method, path, body).status, later) << path;
}

TEST_F(StoreFailureTest, aLockOfAnotherProgramHoldsNobodyUp) {
    other.run("BEGIN IMMEDIATE");
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 10; ++i) {
        const auto response = send("POST", "/pair");
        EXPECT_EQ(response.status, 503);
        EXPECT_EQ(retryAfter(response), "5");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s) << "each waits anew";
    other.run("COMMIT");
    EXPECT_EQ(send("POST", "/pair").status, 200);
}

TEST_F(StoreFailureTest, aPublishOverTheSocketIsAnsweredAndCanBeTriedAgain) {
    Listener listener;
    hub.open(member, listener, now);
    const auto publish = [&] {
        hub.frame(member, listener, std::string(R"({"type":"publish","item":)") + kItem + '}', now);
        return boost::json::serialize(listener.frames.back());
    };
    setBroken(true);
    EXPECT_EQ(publish(), R"({"type":"ack","status":503,"ref":"A"})");
    setBroken(false);
    EXPECT_EQ(publish(), R"({"type":"ack","status":200,"ref":"A","recipients":0})");
}

TEST_F(StoreFailureTest, readinessFollowsTheStoreWithinFiveSeconds) {
    EXPECT_EQ(send("GET", "/readyz").status, 200);
    setBroken(true);
    now = now.after(5s);
    EXPECT_EQ(send("GET", "/readyz").status, 503);
    setBroken(false);
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
    setBroken(true);
    now = now.after(100ms);
    hub.tick(now);
    EXPECT_TRUE(listener.frames.empty());
    EXPECT_EQ(hub.nextTick(), now.steady + 1s);
    setBroken(false);
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
    setBroken(true);
    now = now.after(100ms); // a list and the minute's sweep are due, and neither works
    hub.tick(now);
    EXPECT_GT(hub.nextTick(), now.steady);
    setBroken(false);
    now = now.after(60s);
    hub.tick(now);
    EXPECT_EQ(listener.frames.back().at("type").as_string(), "devices");
    EXPECT_EQ(store.devices(first.group)[0].lastSeen, 1'700'000'059'900) << "kept for later";
}

} // namespace
} // namespace sorrelwind::relay
