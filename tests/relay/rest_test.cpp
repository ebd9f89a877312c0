// The REST interface of the real program.

#include "tests/relay/client.h"
#include "tests/relay/hub_program.h"

#include <gtest/gtest.h>

namespace sorrelwind::relay::test {
namespace {

namespace json = boost::json;

const std::string kWrongClaim = R"({"code":"AAAA-AAAA","name":"a","platform":"b"})";

class RestTest : public testing::Test {
protected:
    Reply send(const Request& wanted) { return request(hub.port(), wanted); }
    Reply publish(const std::string& token, const std::string& id, const std::string& payload) {
        return send({"POST", "/items", json::serialize(item(id, payload)), token});
    }

    TemporaryFolder folder;
    HubProgram hub{folder.path(), {"--max-payload", "100000", "--claim-failures", "3"}};
};

TEST_F(RestTest, aGroupFromItsFirstDeviceToItsLast) {
    const auto created = send({"POST", "/groups", R"({"name":" laptop ","platform":"linux"})"});
    ASSERT_EQ(created.status, 200);
    EXPECT_EQ(created.headers.at("content-type"), "application/json");
    EXPECT_EQ(created.headers.at("cache-control"), "no-store");
    const auto token = created.text("token");
    EXPECT_TRUE(token.starts_with(created.text("groupId") + '.'));
    const auto laptop = created.json().at("device").as_object();
    EXPECT_EQ(laptop.at("name"), "laptop");
    const std::string laptopId(laptop.at("id").as_string());

    EXPECT_EQ(send({"GET", "/crypto", {}, token}).body, R"({"crypto":null})");
    const std::string record =
        R"({"crypto":{"v":1,"kdf":"pbkdf2-sha256","iters":600000,"salt":"AAAAAAAAAAA="}})";
    EXPECT_EQ(send({"POST", "/crypto", R"({"salt":"AAAAAAAAAAA="})", token}).body, record);
    EXPECT_EQ(send({"POST", "/crypto", R"({"salt":"AAAAAAAAAAAAAAA="})", token}).body, record);
    EXPECT_EQ(send({"GET", "/crypto", {}, token}).body, record);

    const auto code = send({"POST", "/pair", {}, token});
    ASSERT_EQ(code.status, 200);
    EXPECT_GT(code.json().at("expiresAt").as_int64(), 1'700'000'000'000);
    const std::string claim =
        R"({"code":")" + code.text("code") + R"(","name":"phone","platform":"android"})";
    const auto claimed = send({"POST", "/pair/claim", claim});
    ASSERT_EQ(claimed.status, 200);
    EXPECT_EQ(claimed.text("groupId"), created.text("groupId"));
    EXPECT_EQ(send({"POST", "/pair/claim", claim}).status, 403);
    const auto phoneToken = claimed.text("token");
    const std::string phoneId(claimed.json().at("device").at("id").as_string());

    EXPECT_EQ(publish(token, "1", "sw1.a.b").body, R"({"recipients":0})");
    EXPECT_EQ(send({"PATCH", "/devices/" + phoneId, R"({"name":"mobile"})", token}).body,
              R"({"ok":true})");
    EXPECT_EQ(send({"DELETE", "/devices/" + phoneId, {}, token}).body, R"({"ok":true})");
    EXPECT_EQ(send({"GET", "/crypto", {}, phoneToken}).status, 401);
    EXPECT_EQ(send({"DELETE", "/devices/" + phoneId, {}, token}).status, 404);
    EXPECT_EQ(send({"DELETE", "/devices/" + laptopId, {}, token}).status, 200);
    EXPECT_EQ(send({"GET", "/crypto", {}, token}).status, 401);
}

TEST_F(RestTest, refusalsAreSaidInJson) {
    const auto device = createGroup(hub.port());
    const auto stranger = createGroup(hub.port());
    const std::string big(70'000, ' ');
    const std::tuple<Request, int, const char*> cases[] = {
        {{"GET", "/nothing"}, 404, "path"},
        {{"GET", "/../etc/passwd"}, 404, "path"},
        {{"GET", "/devices/a/b", {}, device.token}, 404, "path"},
        {{"GET", "/groups"}, 405, "method"},
        {{"PUT", "/crypto", {}, device.token}, 405, "method"},
        {{"POST", "/"}, 405, "method"},
        {{"BREW", "/items"}, 405, "method"},
        {{"POST", "/groups", "not json"}, 400, "JSON"},
        {{"POST", "/groups", R"({"name":"","platform":"linux"})"}, 400, "name"},
        {{"POST", "/groups", R"({"name":"a","platform":"Mac OS"})"}, 400, "platform"},
        {{"POST", "/groups", big}, 413, "65536"},
        {{"POST", "/pair"}, 401, "token"},
        {{"POST", "/pair", {}, device.token + "x"}, 401, "token"},
        {{"POST", "/pair", {}, device.group}, 401, "token"},
        {{"GET", "/crypto"}, 401, "token"},
        {{"POST", "/crypto", R"({"salt":"short"})", device.token}, 400, "salt"},
        {{"PATCH", "/devices/" + stranger.id, R"({"name":"x"})", device.token}, 404, "device"},
        {{"PATCH", "/devices/" + device.id, R"({"name":"\u0000"})", device.token}, 400, "name"},
        {{"DELETE", "/devices/" + stranger.id, {}, device.token}, 404, "device"},
        {{"POST", "/items", R"({"id":"1","ts":1,"mime":"t"})", device.token}, 400, "payload"},
        {{"POST", "/items", json::serialize(item("1", big + big)), device.token}, 413, "100000"},
        {{"POST", "/items", std::string(3'000'000, 'x'), device.token}, 413, "100000"},
        {{"POST", "/items", std::string(3'000'000, 'x')}, 401, "token"},
        {{"GET", "/ws?token=" + device.token}, 426, "WebSocket"},
        {{"GET", "/ws"}, 401, "token"},
        {{"POST", "/pair/claim", R"({"name":"a","platform":"b"})"}, 400, "code"},
    };
    for (const auto& [wanted, status, says] : cases) {
        const auto reply = send(wanted);
        EXPECT_EQ(reply.status, status) << wanted.method << ' ' << wanted.path;
        EXPECT_NE(reply.text("error").find(says), std::string::npos) << reply.body;
    }
    EXPECT_EQ(send({"PUT", "/crypto"}).headers.at("allow"), "GET, POST");
}

TEST_F(RestTest, pagesOfOtherSitesSpendNothing) {
    // What a page can have sent without asking first, and what it would have to ask for.
    const std::string device = R"({"name":"a","platform":"web"})";
    const auto member = createGroup(hub.port());
    const auto own = "http://127.0.0.1:" + std::to_string(hub.port());
    const std::tuple<Request, std::string, std::string, int> cases[] = {
        {{"POST", "/groups", device}, "text/plain", "", 415},
        {{"POST", "/groups", device}, "", "", 415},
        {{"POST", "/groups", device}, "application/json-patch+json", "", 415},
        {{"POST", "/groups", device}, "Application/JSON ; charset=utf-8", "", 200},
        {{"POST", "/groups", device}, "application/json", "http://evil.example", 403},
        {{"POST", "/groups", device}, "application/json", "null", 403},
        {{"POST", "/groups", device}, "application/json", own, 200},
        {{"POST", "/pair/claim", kWrongClaim}, "application/json", "http://127.0.0.1:1", 403},
        {{"POST", "/pair", {}, member.token}, "", "", 200},
        {{"POST", "/items", json::serialize(item("1")), member.token}, "text/plain", "", 415},
        {{"PATCH", "/devices/" + member.id, R"({"name":"b"})", member.token}, "a/b", "", 415},
        {{"GET", "/crypto", {}, member.token}, "", "http://evil.example", 200},
    };
    for (auto [wanted, type, origin, status] : cases) {
        wanted.headers = {{"Content-Type", type},
                          {"Host", "127.0.0.1:" + std::to_string(hub.port())}};
        if (!origin.empty())
            wanted.headers["Origin"] = origin;
        EXPECT_EQ(send(wanted).status, status) << wanted.path << ' ' << type << ' ' << origin;
    }
    EXPECT_EQ(send({"POST", "/pair/claim", kWrongClaim}).status, 403);
}

TEST_F(RestTest, wrongCodesAreSlowedDown) {
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(send({"POST", "/pair/claim", kWrongClaim}).status, 403);
    const auto refused = send({"POST", "/pair/claim", kWrongClaim});
    EXPECT_EQ(refused.status, 429);
    EXPECT_GT(std::stoi(refused.headers.at("retry-after")), 0);
    // From an untrusted peer another address is not believed.
    const Request forged{
        "POST", "/pair/claim", kWrongClaim, {}, {{"X-Forwarded-For", "192.0.2.1"}}};
    EXPECT_EQ(send(forged).status, 429);
}

TEST(Proxy, isBelievedWhenItIsTrusted) {
    TemporaryFolder folder;
    const HubProgram hub(folder.path(),
                         {"--claim-failures", "1", "--trusted-proxy", "127.0.0.0/8"});
    const auto claimFrom = [&](const std::string& forwarded) {
        const std::map<std::string, std::string> headers{{"X-Forwarded-For", forwarded}};
        return request(hub.port(), {"POST", "/pair/claim", kWrongClaim, {}, headers}).status;
    };
    EXPECT_EQ(claimFrom("198.51.100.1"), 403);
    EXPECT_EQ(claimFrom("203.0.113.5, 198.51.100.1"), 429);
    EXPECT_EQ(claimFrom("198.51.100.2"), 403);
}

TEST_F(RestTest, manyRequestsShareAConnection) {
    const auto device = createGroup(hub.port());
    Http connection(hub.port());
    for (int i = 0; i < 50; ++i) {
        const auto body = json::serialize(item(std::to_string(i % 20)));
        EXPECT_EQ(connection.send({"POST", "/items", body, device.token}).status, 200);
        EXPECT_EQ(connection.send({"GET", "/nothing"}).status, 404);
    }
    // curl asks before it sends a long body.
    const auto body = json::serialize(item("long", std::string(90'000, 'x')));
    RawConnection raw(hub.port());
    raw.write("POST /items HTTP/1.1\r\nHost: h\r\nConnection: close\r\nAuthorization: Bearer " +
              device.token +
              "\r\nContent-Type: application/json\r\nExpect: 100-continue\r\nContent-Length: " +
              std::to_string(body.size()) + "\r\n\r\n" + body);
    const auto answer = raw.readToEnd();
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n")) << answer;
}

TEST_F(RestTest, headsAreReadStrictly) {
    const std::string after = "0\r\n\r\nGET /healthz HTTP/1.1\r\nHost: h\r\n\r\n";
    const std::pair<std::string, std::string> cases[] = {
        {"rubbish\r\n\r\n", "400"},
        {"GET / HTTP/1.1\r\nHost: h\r\nX: " + std::string(9000, 'x') + "\r\n\r\n", "431"},
        {"POST /groups HTTP/1.1\r\nHost: h\r\nContent-Length: 99999999999\r\n\r\n", "413"},
        {"POST /groups HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n11000\r\n" +
             std::string(0x11000, ' ') + "\r\n0\r\n\r\n",
         "413"},
        {"GET /healthz HTTP/1.1\r\n\r\n", "400"},
        {"GET /healthz HTTP/1.1\r\nHost: h\r\nHost: h\r\n\r\n", "400"},
        {"POST /groups HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: gzip\r\n\r\n" + after, "501"},
        {"POST /groups HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: gzip, chunked\r\n\r\n" + after,
         "501"},
        {"POST /groups HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: gzip\r\n"
         "Transfer-Encoding: chunked\r\n\r\n" +
             after,
         "501"},
        {"GET http://h:1/healthz HTTP/1.1\r\nHost: other\r\nConnection: close\r\n\r\n", "200"},
        {"GET https://h HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n", "200"},
    };
    for (const auto& [bytes, status] : cases) {
        RawConnection raw(hub.port());
        raw.write(bytes);
        raw.shutDownSending();
        const auto answer = raw.readToEnd();
        EXPECT_TRUE(answer.starts_with("HTTP/1.1 " + status)) << bytes << answer;
        EXPECT_EQ(answer.find("HTTP/1.1", 1), std::string::npos) << "a second answer: " << bytes;
    }
}

} // namespace
} // namespace sorrelwind::relay::test
