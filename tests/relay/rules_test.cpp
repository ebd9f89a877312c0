// What texts from outside are taken for: names, codes, addresses, targets, bodies and frames.

#include "relay/base64.h"
#include "relay/client_address.h"
#include "relay/identity.h"
#include "relay/listen_address.h"
#include "relay/pairing_code.h"
#include "relay/requests.h"
#include "relay/target.h"
#include "relay/text_rules.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace sorrelwind::relay {
namespace {

using namespace std::string_literals;
using boost::asio::ip::make_address;

TEST(Base64, knowsTheSizeOfStrictTextOnly) {
    const std::pair<const char*, std::optional<std::size_t>> cases[] = {
        {"", 0},         {"AA==", 1},    {"AAA=", 2},      {"AAAA", 3},  {"+/+/", 3},
        {"AAAAAAA=", 5}, {"AAA", {}},    {"AAA=AAAA", {}}, {"=AAA", {}}, {"A===", {}},
        {"====", {}},    {"AA\n==", {}}, {"AA==\n", {}},   {"-_-_", {}}, {"AB==", {}},
        {"AAB=", {}},    {"AA= ", {}},   {"AAAA====", {}},
    };
    for (const auto& [text, size] : cases)
        EXPECT_EQ(base64Size(text), size) << text;
}

TEST(Base64, writesUrlSafeTextWithoutPadding) {
    // RFC 4648, section 10, and bytes that tell the two alphabets apart.
    const std::pair<std::string_view, const char*> cases[] = {
        {"", ""}, {"f", "Zg"}, {"fo", "Zm8"}, {"foobar", "Zm9vYmFy"}, {"\xfb\xff\xfe", "-__-"}};
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(base64Url({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}),
                  text);
}

TEST(Identity, tokensBeginWithTheirGroup) {
    const auto group = newId();
    EXPECT_EQ(group.size(), 22u);
    EXPECT_EQ(group.find('.'), std::string::npos);
    const auto token = newToken(group);
    EXPECT_EQ(token.size(), 22u + 1 + 43);
    EXPECT_TRUE(token.starts_with(group + '.'));
    EXPECT_NE(token, newToken(group));
}

TEST(Identity, idsCannotBeTakenForOptions) {
    for (int i = 0; i < 5000; ++i)
        ASSERT_NE(newId().front(), '-') << i;
}

TEST(PairingCode, hasTheShapeAndUsesTheWholeAlphabet) {
    std::set<char> seen;
    for (int i = 0; i < 500; ++i) {
        const auto code = newPairingCode();
        ASSERT_EQ(code.size(), 9u);
        ASSERT_EQ(code[4], '-');
        seen.insert(code.begin(), code.end());
        ASSERT_TRUE(canonicalCode(code)) << code;
    }
    seen.erase('-');
    EXPECT_EQ(std::string(seen.begin(), seen.end()), "23456789ABCDEFGHJKMNPQRSTUVWXYZ");
}

TEST(PairingCode, isComparedWithoutSeparatorsAndCase) {
    for (const auto* typed : {"ABCD-2345", "abcd2345", " aBcD 2345\n", "AB CD-23.45", "ABCD–2345"})
        EXPECT_EQ(canonicalCode(typed), "ABCD2345") << typed;
    for (const auto& typed : {""s, "ABCD-234"s, "ABCD-23456"s, "ABCD-234O"s, "ABCD-2341"s,
                              "ÄBCD-234"s, std::string(100, ' ') + "ABCD2345"})
        EXPECT_EQ(canonicalCode(typed), std::nullopt) << typed;
}

TEST(DeviceName, isTrimmedAndBounded) {
    const std::string wide = "\U0001F4BB"; // one character of four bytes
    std::string sixtyFour;
    for (int i = 0; i < 64; ++i)
        sixtyFour += wide;
    const std::pair<std::string, std::optional<std::string>> cases[] = {
        {"laptop", "laptop"},
        {" \t\n laptop \r\n", "laptop"},
        {"\u3000\u00a0手机\u2003", "手机"},
        {"my  laptop", "my  laptop"},
        {sixtyFour, sixtyFour},
        {"  " + sixtyFour + "   ", sixtyFour},
        {sixtyFour + "x", {}},
        {"", {}},
        {" \u3000 ", {}},
        {"a\nb", {}},
        {"a\tb", {}},
        {"a\x1b[31m", {}},
        {"\0a"s, {}},
        {"a\0"s, {}},
        {"a\x7f", {}},
        {"a\u0085b", {}},
        {"a\u2028b", {}},
        {std::string(2000, ' ') + "a", {}},
        // Bidirectional controls and what has no width, except where emoji are made of it.
        {"a\u202egpj.exe", {}},
        {"a\u200fb", {}},
        {"a\u061cb", {}},
        {"\u2066a\u2069", {}},
        {"a\u200b", {}},
        {"\ufeffa", {}},
        {"a\u2060b", {}},
        {"a\u00adb", {}},
        {"\u3164", {}},
        {"\ufe0f", {}},
        {"a\u200db", {}},
        {"a\u200d\U0001F4BB", {}},
        {"\U0001F469\u200d", {}},
        {"a\U000E0067", {}},
        {"\U0001F469\u200d\u2764\ufe0f\u200d\U0001F468",
         "\U0001F469\u200d\u2764\ufe0f\u200d\U0001F468"},
        {"\U0001F468\U0001F3FD\u200d\U0001F4BB x", "\U0001F468\U0001F3FD\u200d\U0001F4BB x"},
        {"\U0001F3F4\U000E0067\U000E0062\U000E007F", "\U0001F3F4\U000E0067\U000E0062\U000E007F"},
        {"1\ufe0f\u20e3", "1\ufe0f\u20e3"},
        {"葛\U000E0100", "葛\U000E0100"},
        {"e\u0301", "e\u0301"},
        {"لابتوب", "لابتوب"},
    };
    for (const auto& [text, name] : cases)
        EXPECT_EQ(deviceName(text), name) << text;
}

TEST(ClientAddress, believesTrustedProxiesOnly) {
    const std::vector<Cidr> trusted{*Cidr::parse("127.0.0.0/8"), *Cidr::parse("10.1.2.0/23"),
                                    *Cidr::parse("fd00::/8"), *Cidr::parse("::1")};
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"203.0.113.9", "198.51.100.1", "203.0.113.9"}, // an untrusted peer says what it likes
        {"127.0.0.1", "", "127.0.0.1"},
        {"127.0.0.1", "198.51.100.1", "198.51.100.1"},
        {"127.0.0.1", "192.0.2.66, 198.51.100.1", "198.51.100.1"},
        {"127.0.0.1", "192.0.2.66, 198.51.100.1, 10.1.3.255", "198.51.100.1"},
        {"127.0.0.1", "192.0.2.66, 10.1.4.0", "10.1.4.0"},
        {"127.0.0.1", "10.1.2.1,10.1.3.1", "10.1.2.1"},
        {"127.0.0.1", "198.51.100.1, rubbish", "127.0.0.1"},
        {"127.0.0.1", "198.51.100.1,,", "127.0.0.1"},
        {"127.0.0.1", "198.51.100.1:4711", "198.51.100.1"},
        {"::1", "[2001:db8::7]:443", "2001:db8::7"},
        {"fd12::1", "2001:db8::7", "2001:db8::7"},
        {"::ffff:127.0.0.1", "::ffff:198.51.100.1", "198.51.100.1"},
        {"127.0.0.1", "[2001:db8::7", "127.0.0.1"},
    };
    for (const auto& [peer, forwarded, client] : cases)
        EXPECT_EQ(clientAddress(make_address(peer), forwarded, trusted), make_address(client))
            << peer << " " << forwarded;
    for (const auto* bad : {"", "10.0.0.0/33", "10.0.0.0/", "10.0.0.0/-1", "::/129", "host/8",
                            "10.0.0.0/8x", "10.0.0.0/8/8"})
        EXPECT_FALSE(Cidr::parse(bad)) << bad;
    EXPECT_TRUE(Cidr::parse("0.0.0.0/0")->contains(make_address("8.8.8.8")));
    EXPECT_FALSE(Cidr::parse("0.0.0.0/0")->contains(make_address("2001:db8::")));
}

TEST(ClientAddress, isLimitedByNetwork) {
    const auto key = [](const char* text) { return limitKey(make_address(text)); };
    EXPECT_NE(key("192.0.2.1"), key("192.0.2.2"));
    EXPECT_EQ(key("192.0.2.1"), key("::ffff:192.0.2.1"));
    EXPECT_EQ(key("2001:db8:0:1::1"), key("2001:db8:0:1:ffff::2"));
    EXPECT_NE(key("2001:db8:0:1::1"), key("2001:db8:0:2::1"));
}

TEST(ListenAddress, readsLiteralsOnly) {
    for (const auto* good : {"127.0.0.1:8787", "0.0.0.0:0", "[::1]:65535", "[::]:80"}) {
        const auto address = ListenAddress::parse(good);
        ASSERT_TRUE(address) << good;
        EXPECT_EQ(address->text(), good);
    }
    for (const auto* bad :
         {"", ":", "127.0.0.1", "8787", "localhost:80", "127.0.0.1:65536", "127.0.0.1:-1",
          "127.0.0.1:", "127.0.0.1:80x", "::1:80", "[::1]", "[127.0.0.1]:80", "[]:80"})
        EXPECT_FALSE(ListenAddress::parse(bad)) << bad;
}

TEST(Target, findsPathQueryAndToken) {
    EXPECT_EQ(pathOf("/ws?token=a?b"), "/ws");
    EXPECT_EQ(pathOf("/"), "/");
    EXPECT_EQ(pathOf(""), "");
    const std::tuple<const char*, const char*, const char*> absolute[] = {
        {"http://h:80/ws?token=a/b", "/ws", "h:80"},
        {"HTTPS://h", "/", "h"},
        {"http://h?/x", "/", "h"},
        {"/http://h/x", "/http://h/x", ""},
        {"ftp://h/x", "ftp://h/x", ""},
        {"http:/x", "http:/x", ""},
    };
    for (const auto& [target, path, authority] : absolute) {
        EXPECT_EQ(pathOf(target), path);
        EXPECT_EQ(authorityOf(target), authority) << target;
    }
    const std::pair<const char*, std::optional<std::string>> queries[] = {
        {"/ws?token=g.abc", "g.abc"},
        {"/ws?x=1&token=g%2Eabc%5f", "g.abc_"},
        {"/ws?token=a&token=b", "a"},
        {"/ws?token=a+b", "a+b"},
        {"/ws?token=", ""},
        {"/ws", {}},
        {"/ws?", {}},
        {"/ws?tokens=a", {}},
        {"/ws?token", {}},
        {"/ws?token=%", {}},
        {"/ws?token=%4", {}},
        {"/ws?token=%zz", {}},
        {"/ws?token=%-1", {}},
        {"/ws?&&token=a", "a"},
    };
    for (const auto& [target, token] : queries)
        EXPECT_EQ(queryItem(target, "token"), token) << target;
    EXPECT_EQ(bearerToken("Bearer abc"), "abc");
    EXPECT_EQ(bearerToken("bearer   abc"), "abc");
    for (const auto* none : {"", "Bearer", "Bearer ", "Basic abc", "abc", "Bearerabc"})
        EXPECT_EQ(bearerToken(none), "") << none;
}

TEST(Target, knowsTheHubsOwnPages) {
    const struct {
        const char* origin;
        const char* host;
        bool own;
        bool ownOverTls;
    } cases[] = {
        {"http://127.0.0.1:8787", "127.0.0.1:8787", true, false},
        {"http://[::1]:8787", "[::1]:8787", true, false},
        {"https://hub.example", "hub.example", true, true},
        {"https://hub.example", "Hub.Example:443", true, true},
        {"http://hub.example", "hub.example:80", true, false},
        {"https://hub.example:8443", "hub.example", false, false},
        {"http://hub.example:443", "hub.example:443", true, false},
        {"https://hub.example", "hub.example:80", false, false},
        {"https://evil.example", "hub.example", false, false},
        {"https://hub.example.evil.example", "hub.example", false, false},
        {"null", "hub.example", false, false},
        {"hub.example", "hub.example", false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(isOwnOrigin(c.origin, c.host, false), c.own) << c.origin << ' ' << c.host;
        EXPECT_EQ(isOwnOrigin(c.origin, c.host, true), c.ownOverTls) << c.origin << ' ' << c.host;
    }
}

/// The refusal of a body, "" if it is good.
template <class T>
std::string refusalOf(const Answer<T>& answer) {
    return answer ? "" : std::to_string(answer.error().status) + ' ' + answer.error().text;
}

TEST(Requests, sayWhichFieldIsWrong) {
    const auto salt = [](const std::string& text) {
        return refusalOf(readSalt(R"({"salt":")" + text + "\"}"));
    };
    EXPECT_EQ(salt("AAAAAAAAAAA="), "");                // 8 bytes
    EXPECT_EQ(salt(std::string(84, 'A') + "AA=="), ""); // 64 bytes
    const std::pair<std::string, const char*> cases[] = {
        {refusalOf(readNewDevice("")), "JSON"},
        {refusalOf(readNewDevice("[]")), "JSON"},
        {refusalOf(readNewDevice("{} x")), "JSON"},
        {refusalOf(readNewDevice(std::string(10000, '['))), "JSON"},
        {refusalOf(readNewDevice("{\"name\":\"\xff\",\"platform\":\"linux\"}")), "JSON"},
        {refusalOf(readNewDevice(R"({"platform":"linux"})")), "name"},
        {refusalOf(readNewDevice(R"({"name":1,"platform":"linux"})")), "name"},
        {refusalOf(readNewDevice(R"({"name":"a\u0007","platform":"linux"})")), "name"},
        {refusalOf(readNewDevice(R"({"name":"a"})")), "platform"},
        {refusalOf(readNewDevice(R"({"name":"a","platform":"Linux"})")), "platform"},
        {refusalOf(readNewDevice(R"({"name":"a","platform":""})")), "platform"},
        {refusalOf(readClaim(R"({"name":"a","platform":"linux"})")), "code"},
        {refusalOf(readClaim(R"({"code":12345678,"name":"a","platform":"linux"})")), "code"},
        {refusalOf(readName(R"({"name":null})")), "name"},
        {salt(""), "salt"},
        {salt("AAAAAAAAAA=="), "salt"}, // 7 bytes
        {salt(std::string(84, 'A') + "AAA="), "salt"},
        {salt("AAAAAAAAAAA"), "salt"},
        {refusalOf(readSalt("{}")), "salt"},
    };
    for (const auto& [refusal, field] : cases) {
        EXPECT_TRUE(refusal.starts_with("400 ")) << refusal;
        EXPECT_NE(refusal.find(field), std::string::npos) << refusal << " / " << field;
    }
    EXPECT_EQ(readNewDevice(R"({"name":" a ","platform":"x-2","more":[1]})")->name, "a");
}

TEST(Requests, itemsAreCheckedFieldByField) {
    // A good item with one member replaced.
    const auto read = [](const char* member, const std::string& value) {
        std::map<std::string, std::string> members{
            {"id", R"("A")"}, {"ts", "1"}, {"mime", R"("t")"}, {"payload", R"("")"}};
        members[member] = value;
        std::string item;
        for (const auto& [name, json] : members)
            item += (item.empty() ? "{\"" : ",\"") + name + "\":" + json;
        return readItem(item + '}', 10);
    };
    const auto text = [](std::size_t size) { return '"' + std::string(size, 'x') + '"'; };
    EXPECT_EQ(read("id", R"("A-1")")->id, "A-1");
    EXPECT_EQ(read("ts", "-5")->ts, -5);
    EXPECT_EQ(read("ts", "2.0")->ts, 2);
    EXPECT_EQ(read("payload", R"("0123456789")")->payload, "0123456789");
    EXPECT_EQ(read("payload", R"("\u00e9\u00e9\u00e9\u00e9\u00e9")")->payload.size(), 10u);
    const std::tuple<const char*, std::string, const char*> bad[] = {
        {"id", text(0), "400 id"},
        {"id", text(65), "400 id"},
        {"id", R"("a\nb")", "400 id"},
        {"id", "7", "400 id"},
        {"ts", "1.5", "400 ts"},
        {"ts", R"("1")", "400 ts"},
        {"ts", "1e300", "400 ts"},
        {"ts", "18446744073709551615", "400 ts"},
        {"mime", text(0), "400 mime"},
        {"mime", text(128), "400 mime"},
        {"payload", "null", "400 payload"},
        {"payload", text(11), "413 the payload is larger than 10 "},
    };
    for (const auto& [member, value, refusal] : bad)
        EXPECT_TRUE(refusalOf(read(member, value)).starts_with(refusal)) << member << value;
}

TEST(Requests, costNoMoreThanTheirBytes) {
    // Whatever else is in it, a message has so many values, of which an item needs five.
    const auto item = [](int others) {
        std::string more;
        for (int i = 0; i < others; ++i)
            more += "1,";
        return R"({"id":"A","ts":1,"mime":"t","payload":"p","more":[)" + more + "1]}";
    };
    EXPECT_TRUE(readItem(item(1000), 0));
    EXPECT_EQ(refusalOf(readItem(item(1100), 0)), "400 the body must be a JSON object");
    const auto frame = R"({"type":"publish","item":)" + item(100'000) + "}";
    EXPECT_TRUE(std::holds_alternative<std::monostate>(readFrame(frame, 0)));
}

TEST(Requests, membersAreReadWhereTheyStand) {
    const std::pair<const char*, const char*> good[] = {
        {R"({"id":"a","id":"A","ts":1,"mime":"t","payload":"p"})", "the last counts"},
        {R"({"i\u0064":"A","ts":1,"mime":"t","payload":"p"})", "escapes"},
        {R"({"id":"A","ts":1,"mime":"t","payload":"p","x":{"id":"B","y":[{"id":"C"}]}})", "deeper"},
        {R"( {"item":{"id":"B"},"id":"A","ts":1,"mime":"t","payload":"p"} )", "item"},
    };
    for (const auto& [text, what] : good) {
        const auto item = readItem(text, 0);
        ASSERT_TRUE(item) << what;
        EXPECT_EQ(item->id, "A") << what;
    }
    for (const auto* bad : {R"({"id":"A","id":5,"ts":1,"mime":"t","payload":"p"})",
                            R"({"id":["A"],"ts":1,"mime":"t","payload":"p"})",
                            R"([{"id":"A","ts":1,"mime":"t","payload":"p"}])",
                            R"({"item":{"id":"A"},"ts":1,"mime":"t","payload":"p"})"})
        EXPECT_FALSE(readItem(bad, 0)) << bad;
    for (const auto* none : {R"({"type":"publish","item":{"id":"A"},"item":5})",
                             R"({"type":"publish","item":[{"id":"A"}]})",
                             R"({"type":"publish","x":{"item":{"id":"A"}}})"})
        EXPECT_EQ(std::get<PublishFrame>(readFrame(none, 0)).ref, "") << none;
}

TEST(Requests, framesThatAreNotKnownAreNothing) {
    for (const auto* text :
         {"", "null", "[]", "{}", "{", R"({"type":1})", R"({"type":"hello"})",
          R"({"type":"received"})", R"({"type":"received","id":7})", R"({"type":"Publish"})"})
        EXPECT_TRUE(std::holds_alternative<std::monostate>(readFrame(text, 0))) << text;
    const auto receipt = readFrame(R"({"type":"received","id":"A"})", 0);
    EXPECT_EQ(std::get<ReceivedFrame>(receipt).id, "A");

    const auto ref = [](const char* text) {
        return std::get<PublishFrame>(readFrame(text, 0)).ref;
    };
    EXPECT_EQ(ref(R"({"type":"publish"})"), "");
    EXPECT_EQ(ref(R"({"type":"publish","item":{"id":5}})"), "");
    EXPECT_EQ(ref(R"({"type":"publish","item":{"id":"A"}})"), "A");
}

} // namespace
} // namespace sorrelwind::relay
