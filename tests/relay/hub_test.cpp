// The hub on a real store in memory, with a clock of its own.

#include "relay/api.h"
#include "relay/hub.h"
#include "relay/sqlite_store.h"
#include "tests/relay/hub_program.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

namespace sorrelwind::relay {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

class Listener : public Outlet {
public:
    bool send(const Frame& frame) override {
        last = boost::json::parse(frame.text()).as_object();
        return true;
    }
    void close(Goodbye why) override { closed = why; }

    boost::json::object last;
    std::optional<Goodbye> closed;
};

class HubTest : public testing::Test {
protected:
    static Address address(const char* text) { return boost::asio::ip::make_address(text); }
    Hub::Joined create(const char* name = "first") {
        return *hub.createGroup({name, "linux"}, address("192.0.2.1"), now);
    }
    Answer<Hub::Joined> claim(const std::string& code, const char* from = "192.0.2.1") {
        return hub.claim({code, {"second", "linux"}}, address(from), now);
    }
    static Member member(const Hub::Joined& joined) { return {joined.group, joined.device.id}; }
    /// Another device of the group.
    Hub::Joined joinedTo(const Hub::Joined& first) {
        return *claim(hub.createCode(member(first), now)->code);
    }
    /// The head of a publish over REST.
    static Head itemHead(const std::string& authorization) {
        return {.method = "POST",
                .target = "/items",
                .authorization = authorization,
                .contentType = "application/json",
                .client = address("192.0.2.1")};
    }
    static int status(const Answer<Hub::Joined>& answer) {
        return answer ? 200 : answer.error().status;
    }

    Limits limits = [] {
        Limits some;
        some.maxDevices = 3;
        some.newGroups = 6;
        some.claimFailures = 3;
        some.publishBurst = 5;
        some.maxPayload = 98;
        return some;
    }();
    SqliteStore store{":memory:"};
    Hub hub{store, limits};
    Now now{Steady() + 1000h, 1'700'000'000'000};
};

TEST_F(HubTest, aTokenIsGoodUntilItsDeviceIsRemoved) {
    const auto first = create();
    const auto second = joinedTo(first);
    EXPECT_EQ(hub.authenticate(first.token, now), member(first));
    EXPECT_EQ(hub.authenticate(second.token, now), member(second));
    for (const auto& dead : {std::string(), first.token + 'x', first.group, std::string(9999, 'x')})
        EXPECT_EQ(hub.authenticate(dead, now), std::nullopt);

    const auto stranger = create("stranger");
    EXPECT_EQ(hub.remove(member(stranger), second.device.id, now).error().status, 404);
    EXPECT_EQ(hub.rename(member(stranger), second.device.id, "x", now).error().status, 404);
    EXPECT_TRUE(hub.remove(member(first), second.device.id, now));
    EXPECT_EQ(hub.authenticate(second.token, now), std::nullopt);
    EXPECT_EQ(hub.remove(member(first), second.device.id, now).error().status, 404);

    const auto code = hub.createCode(member(first), now)->code;
    EXPECT_TRUE(hub.remove(member(first), first.device.id, now));
    EXPECT_EQ(hub.authenticate(first.token, now), std::nullopt);
    EXPECT_EQ(status(claim(code)), 403) << "the group is gone with its last device";
}

TEST_F(HubTest, aCodeWorksOnceAndForTenMinutes) {
    const auto first = create();
    const auto code = *hub.createCode(member(first), now);
    EXPECT_EQ(code.expiresAt, now.unixMs + 600'000);
    const auto lapsed = hub.createCode(member(first), now)->code;
    EXPECT_EQ(status(claim(code.code)), 200);
    EXPECT_EQ(status(claim(code.code)), 403);
    now = now.after(10min);
    EXPECT_EQ(status(claim(lapsed)), 403);
    const auto late = hub.createCode(member(first), now)->code;
    now = now.after(10min - 1ms);
    EXPECT_EQ(status(claim(late)), 200);
}

TEST_F(HubTest, aGroupHasFourLiveCodesAndTheOldestLapses) {
    const auto first = create();
    std::vector<std::string> codes;
    for (int i = 0; i < 5; ++i)
        codes.push_back(hub.createCode(member(first), now)->code);
    EXPECT_EQ(status(claim(codes[0])), 403);
    EXPECT_EQ(status(claim(codes[1])), 200);
    EXPECT_EQ(status(claim(codes[4])), 200);
    const auto full = claim(codes[2]);
    EXPECT_EQ(status(full), 409) << "the group is full";
    EXPECT_NE(full.error().text.find('3'), std::string::npos);
}

TEST_F(HubTest, aRemovedDevicesCodesAreDead) {
    const auto first = create();
    const auto second = joinedTo(first);
    const auto code = hub.createCode(member(second), now)->code;
    EXPECT_TRUE(hub.remove(member(first), second.device.id, now));
    EXPECT_EQ(status(claim(code)), 403);
}

TEST_F(HubTest, wrongCodesAreLimitedByAddressAndOverall) {
    const auto first = create();
    const auto other = create("other");
    const auto code = hub.createCode(member(first), now)->code;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(status(claim("AAAA-AAAA")), 403);
    EXPECT_EQ(status(claim(code)), 429) << "even the right code";
    EXPECT_EQ(claim(code).error().retryAfter, 60);
    EXPECT_EQ(status(claim("AAAA-AAAA", "192.0.2.2")), 403);
    now = now.after(1min);
    EXPECT_EQ(status(claim(code)), 200);

    // In all as many as keep a hit unlikely, by the codes alive.
    int alive = 0;
    for (const auto& [codes, allowed] : {std::pair(1, 592), {2, 296}, {5, 118}, {8, 100}}) {
        SCOPED_TRACE(codes);
        std::string good;
        for (; alive < codes; ++alive)
            good = hub.createCode(member(alive < 4 ? first : other), now)->code;
        const auto wrong = [&](int i) {
            const auto from = "198.51." + std::to_string(i / 200) + '.' + std::to_string(i % 200);
            return status(claim("AAAA-AAAA", from.c_str()));
        };
        for (int i = 0; i < allowed; ++i)
            ASSERT_EQ(wrong(i), 403) << i;
        EXPECT_EQ(wrong(allowed), 429);
        EXPECT_EQ(status(claim(good, "192.0.4.1")), 429);
        now = now.after(1min);
        EXPECT_EQ(wrong(0), 403);
        now = now.after(1min);
    }
}

TEST_F(HubTest, newGroupsAreLimitedByAddress) {
    for (int i = 0; i < 6; ++i)
        create();
    const NewDevice device{"x", "linux"};
    const auto refused = hub.createGroup(device, address("192.0.2.1"), now);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().status, 429);
    EXPECT_EQ(refused.error().retryAfter, 3600);
    EXPECT_TRUE(hub.createGroup(device, address("192.0.2.2"), now));
    now = now.after(1h);
    EXPECT_TRUE(hub.createGroup(device, address("192.0.2.1"), now));
}

TEST_F(HubTest, theDoctorsGroupsCountByThemselvesAndAreOfNoOtherUse) {
    const NewDevice doctor{"doctor", "doctor"};
    const auto examine = [&] { return hub.createGroup(doctor, address("192.0.2.1"), now); };
    std::vector<Hub::Joined> made;
    for (int i = 0; i < 6; ++i)
        made.push_back(*examine());
    EXPECT_EQ(examine().error().status, 429);
    for (int i = 0; i < 6; ++i)
        create();
    EXPECT_EQ(hub.createCode(member(made[0]), now).error().status, 403);
    Listener listener;
    hub.open(member(made[0]), listener, now);
    EXPECT_EQ(listener.last.at("type"), "hello");
    now = now.after(24h);
    hub.tick(now);
    EXPECT_FALSE(hub.authenticate(made[0].token, now)) << "a socket was opened, and yet";
}

TEST_F(HubTest, aGroupThatNobodyUsedIsForgottenAfterADay) {
    const auto unused = create("unused");
    const auto opened = create("opened");
    const auto shared = create("shared");
    joinedTo(shared);
    {
        Listener listener;
        hub.open(member(opened), listener, now);
        hub.closed(member(opened), listener, now);
    }
    const auto isThere = [&](const Hub::Joined& joined) {
        hub.tick(now);
        return hub.authenticate(joined.token, now).has_value();
    };
    now = now.after(24h - 1min);
    const auto late = create("late");
    EXPECT_TRUE(isThere(unused)) << "requests alone are no use";
    now = now.after(1min);
    EXPECT_FALSE(isThere(unused));
    for (const auto& used : {opened, shared, late})
        EXPECT_TRUE(isThere(used)) << used.device.name;
    now = now.after(24h);
    for (const auto& used : {opened, shared})
        EXPECT_TRUE(isThere(used)) << used.device.name;
    EXPECT_FALSE(isThere(late));
}

TEST_F(HubTest, theFirstSaltStands) {
    const auto first = create();
    EXPECT_EQ(hub.crypto(member(first)), std::nullopt);
    const CryptoRecord record{1, "pbkdf2-sha256", 600000, "AAAAAAAAAAAAAAAAAAAAAA=="};
    EXPECT_EQ(hub.setCrypto(member(first), record.salt), record);
    EXPECT_EQ(hub.setCrypto(member(first), "////////////////////////"), record);
    EXPECT_EQ(hub.crypto(member(first)), record);
    EXPECT_EQ(hub.crypto(member(create("stranger"))), std::nullopt);
}

TEST_F(HubTest, aRepeatedItemIsNoNewOneAndATooQuickOneIsRefused) {
    const auto first = create();
    const auto second = joinedTo(first);
    Listener listener;
    hub.open(member(second), listener, now);
    const auto publish = [&](const std::string& id) {
        const auto answer = hub.publish(member(first), Item{id, 1, "text/plain", "p"}, now);
        return answer ? *answer : -answer.error().status;
    };
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(publish("same"), 1);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(publish(std::to_string(i)), 1);
    EXPECT_EQ(publish("one too many"), -429);
    EXPECT_EQ(publish("3"), 1);
    now = now.after(100ms);
    EXPECT_EQ(publish("later"), 1);
}

TEST_F(HubTest, whatIsNotAcceptedHasAWiderLimit) {
    const Site site;
    Api api(hub, site);
    const auto good = R"({"id":"A","ts":1,"mime":"t","payload":"p"})"s;
    const auto large =
        R"({"id":"B","ts":1,"mime":"t","payload":")" + std::string(99, 'x') + R"("})";
    const std::tuple<const char*, std::string, int> cases[] = {
        {"repeated", good, 200}, {"malformed", "{}", 400}, {"too large", large, 413}};
    for (const bool overRest : {true, false}) {
        for (const auto& [what, item, status] : cases) {
            SCOPED_TRACE(what + (overRest ? " over REST"s : " over the socket"s));
            const auto who = create();
            const auto authorization = "Bearer " + who.token;
            const Head head = itemHead(authorization);
            Listener listener;
            hub.open(member(who), listener, now);
            const auto send = [&](const std::string& json) {
                if (overRest)
                    return api.handle(head, json, now).status;
                hub.frame(member(who), listener, R"({"type":"publish","item":)" + json + '}', now);
                return static_cast<int>(listener.last.at("status").as_int64());
            };
            EXPECT_EQ(send(good), 200);
            for (int i = 1; i < 20; ++i)
                ASSERT_EQ(send(item), status) << i;
            EXPECT_EQ(send(item), 429);
            EXPECT_EQ(send(good), 429);
            now = now.after(3s);
            EXPECT_EQ(send(good), 200) << "asked again after its answer was lost";
        }
    }
}

TEST_F(HubTest, aTooQuickPublisherIsToldHowLongToWait) {
    limits.publishRate = 0.3;
    limits.publishBurst = 1;
    Hub slow(store, limits);
    const auto who = member(create());
    const auto publish = [&](const char* id) {
        return slow.publish(who, Item{id, 1, "t", "p"}, now);
    };
    EXPECT_TRUE(publish("1"));
    EXPECT_EQ(publish("2").error().retryAfter, 4);
    now = now.after(4s);
    EXPECT_TRUE(publish("2"));
}

TEST_F(HubTest, aBodyThatIsNotReadCountsAsAnItem) {
    const Site site;
    Api api(hub, site);
    const auto authorization = "Bearer " + create().token;
    const Head head = itemHead(authorization);
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(api.tooLarge(head, now).status, 413) << i;
    EXPECT_EQ(api.tooLarge(head, now).status, 429);
}

TEST_F(HubTest, framesAreAnsweredWhereTheyAskForIt) {
    const auto first = create();
    Listener listener;
    hub.open(member(first), listener, now);
    const std::pair<const char*, const char*> cases[] = {
        {R"({"type":"publish","item":{"id":"A","ts":1,"mime":"t","payload":"p"}})",
         R"({"type":"ack","status":200,"ref":"A","recipients":0})"},
        {R"({"type":"publish","item":{"id":"B","ts":"x","mime":"t","payload":"p"}})",
         R"({"type":"ack","status":400,"ref":"B"})"},
        {R"({"type":"publish","item":7})", R"({"type":"ack","status":400})"},
        {R"({"type":"received","id":"A"})", "{}"},
        {"rubbish", "{}"},
        {R"({"item":{"id":"C","payload":"p","mime":"t","ts":1.0},"type":"publish"})",
         R"({"type":"ack","status":200,"ref":"C","recipients":0})"},
    };
    for (const auto& [frame, answer] : cases) {
        listener.last = {};
        hub.frame(member(first), listener, frame, now);
        EXPECT_EQ(listener.last, boost::json::parse(answer)) << frame;
    }
}

TEST_F(HubTest, framesThatAreNotKnownCountAsAttempts) {
    for (const auto* frame : {"rubbish", R"({"type":"dance"})", R"({"type":"received"})"}) {
        const auto first = create();
        Listener listener;
        hub.open(member(first), listener, now);
        for (int i = 0; i < 20; ++i)
            hub.frame(member(first), listener, frame, now);
        hub.frame(member(first), listener, R"({"type":"publish","item":{"id":"A"}})", now);
        EXPECT_EQ(listener.last.at("status"), 429) << frame;
        EXPECT_EQ(listener.last.at("ref"), "A");
        hub.frame(member(first), listener, "unread" + std::string(kMaxBody, '['), now);
        EXPECT_EQ(listener.last.at("status"), 429);
        EXPECT_FALSE(listener.last.contains("ref")) << "it was read";
        EXPECT_FALSE(listener.closed);
    }
}

TEST_F(HubTest, aLargeFrameThatPublishesNothingClosesItsSocket) {
    const auto first = create();
    const auto sent = [&](const std::string& begin, std::size_t size, const std::string& end) {
        Listener listener;
        hub.open(member(first), listener, now);
        const auto padding = std::string(size - begin.size() - end.size(), ' ');
        hub.frame(member(first), listener, begin + padding + end, now);
        hub.closed(member(first), listener, now);
        return listener.closed;
    };
    EXPECT_EQ(sent("{", kMaxBody + 1, R"("type":"dance"})"), Goodbye::tooLarge);
    EXPECT_EQ(sent("[1,", kMaxBody + 1, "2]"), Goodbye::tooLarge);
    EXPECT_EQ(sent(R"({"type":"received","id":"A")", kMaxBody + 1, "}"), Goodbye::tooLarge);
    EXPECT_EQ(sent("{", kMaxBody, R"("type":"dance"})"), std::nullopt);
    EXPECT_EQ(sent(R"({"item":{"id":"A"})", kMaxBody + 1, R"(,"type":"publish"})"), std::nullopt);
}

TEST_F(HubTest, whatMembersWriteIsLimitedByDeviceAndGroup) {
    const Site site;
    Api api(hub, site);
    const auto first = create();
    const auto second = joinedTo(first);
    const auto third = joinedTo(first);
    const auto send = [&](const Hub::Joined& by, const char* method, const std::string& target,
                          const char* body) {
        const auto authorization = "Bearer " + by.token;
        const Head head{.method = method,
                        .target = target,
                        .authorization = authorization,
                        .contentType = "application/json",
                        .client = address("192.0.2.1")};
        return api.handle(head, body, now).status;
    };
    const auto rename = [&](const Hub::Joined& by) {
        return send(by, "PATCH", "/devices/" + by.device.id, R"({"name":"x"})");
    };
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(rename(first), 200);
    for (const auto* path : {"/pair", "/crypto"})
        EXPECT_EQ(send(first, "POST", path, ""), 429) << path;
    EXPECT_EQ(rename(first), 429);
    EXPECT_EQ(send(first, "DELETE", "/devices/none", ""), 429);
    EXPECT_EQ(send(first, "GET", "/crypto", ""), 200);
    EXPECT_EQ(rename(second), 429) << "the group has had enough";
    EXPECT_EQ(send(third, "DELETE", "/devices/" + second.device.id, ""), 200)
        << "who floods the group can be removed";
    now = now.after(1s);
    EXPECT_EQ(rename(first), 200);
    EXPECT_EQ(rename(first), 429);
    EXPECT_EQ(rename(third), 200);
    EXPECT_EQ(rename(create("stranger")), 200);
}

TEST_F(HubTest, lastSeenIsKnownAtOnceAndWrittenDownTogether) {
    const auto first = create();
    const auto second = joinedTo(first);
    const auto created = now.unixMs;
    hub.tick(now);
    now = now.after(10s);
    EXPECT_TRUE(hub.authenticate(second.token, now));
    Listener listener;
    hub.open(member(first), listener, now);
    const auto seen = listener.last.at("devices").at(1).at("lastSeen").as_int64();
    EXPECT_EQ(seen, created + 10'000);
    EXPECT_EQ(store.devices(first.group)[1].lastSeen, created) << "not a write for each request";
    now = now.after(60s);
    hub.tick(now);
    EXPECT_EQ(store.devices(first.group)[1].lastSeen, created + 10'000);
}

TEST(SqliteStore, takesOverOlderTablesAndKeepsTheirGroups) {
    const test::TemporaryFolder folder;
    const auto path = folder.path() / "hub.db";
    const auto make = [](Store& store, const std::string& name) {
        store.createGroup(name, {name, "device", "linux", 1, 1}, sha256(name));
    };
    {
        SqliteStore store(path);
        make(store, "old");
    }
    Database(path).run("DROP INDEX unused_groups; DROP INDEX pairing_codes_by_end; "
                       "ALTER TABLE groups DROP COLUMN unused; PRAGMA user_version = 1");
    for (const bool again : {false, true}) {
        SqliteStore store(path);
        make(store, again ? "newer" : "new");
        EXPECT_EQ(store.removeUnused(1, 10), 1);
        EXPECT_EQ(store.memberByToken(sha256("old")), (Member{"old", "old"}));
    }
}

} // namespace
} // namespace sorrelwind::relay
