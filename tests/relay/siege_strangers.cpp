// Who has no token: bytes, connections and guesses.

#include "tests/relay/siege_attacks.h"

#include <openssl/ssl.h>

#include <algorithm>

namespace sorrelwind::relay::test {

namespace {

using namespace std::chrono_literals;

const std::string kNewDevice = R"({"name":"a","platform":"linux"})";

std::string repeated(std::string_view piece, std::size_t times) {
    std::string text;
    text.reserve(piece.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

std::string post(const std::string& path, const std::string& headers, const std::string& body) {
    return "POST " + path + " HTTP/1.1\r\nHost: h\r\n" + headers +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// Bytes on a connection of its own, and the status that they are answered with; 0 = no answer.
struct Question {
    std::string bytes;
    std::vector<int> answers;
};

void ask(Ground& ground, Verdict& verdict, const std::vector<Question>& questions) {
    const auto home = ground.address();
    for (const auto& [bytes, answers] : questions) {
        Peer peer(ground.hub(), home);
        peer.send(bytes);
        peer.shutDownSending();
        const int status = peer.reply().status;
        verdict.expect(std::count(answers.begin(), answers.end(), status) > 0,
                       "answered " + std::to_string(status) + ": " + bytes.substr(0, 60));
    }
    verdict.seen = std::to_string(questions.size()) + " requests";
}

void oddHttp(Ground& ground, Verdict& verdict) {
    const std::string json = "Content-Type: application/json\r\n";
    const std::string bomb = repeated("x", 70000);
    ask(ground, verdict,
        {
            {"GET /healthz HTTP/1.1\r\n\r\n", {400}},
            {"GET /healthz HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n", {400}},
            {"GET http://hub.example/healthz HTTP/1.1\r\nHost: hub.example\r\n\r\n", {200}},
            {"POST /groups HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: gzip\r\n\r\n", {501}},
            {"POST /groups HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n"
             "Content-Length: 3\r\n\r\n0\r\n\r\n",
             {400}},
            {"POST /groups HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\na",
             {400}},
            {"POST /groups HTTP/1.1\r\nHost: h\r\nContent-Length: -1\r\n\r\n", {400}},
            {"POST /groups HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n"
             "fffffffffffffffff\r\n",
             {400, 413}},
            {"POST /groups HTTP/1.1\r\nHost: h\r\n" + json + "Content-Length: 9999999999\r\n\r\n",
             {413}},
            {"POST /groups HTTP/1.1\r\nHost: h\r\n" + json +
                 "Transfer-Encoding: chunked\r\n\r\n11170\r\n" + bomb + "\r\n0\r\n\r\n",
             {413}},
            {post("/groups", json + "Origin: https://evil.example\r\n", kNewDevice), {403}},
            {post("/groups", "Content-Type: text/plain\r\n", kNewDevice), {415}},
            {post("/groups", json, R"({"name":"\ud800","platform":"linux"})"), {400}},
            {post("/groups", json, "{\"name\":\"\xff\xfe\",\"platform\":\"linux\"}"), {400}},
            {post("/groups", json, repeated("[", 60000)), {400}},
            {post("/groups", json, repeated("{\"a\":", 10000)), {400}},
            {post("/groups", json, "{\"name\":" + repeated("9", 60000) + "}"), {400}},
            {"GET / HTTP/1.1\r\nHost: h\r\nX: " + bomb + "\r\n\r\n", {431}},
            {"GET / HTTP/1.1\r\nHost: h\r\n" + repeated("a:\r\n", 20000) + "\r\n", {431}},
            {"GET /" + bomb + " HTTP/1.1\r\nHost: h\r\n\r\n", {400, 414, 431}},
            {"GET /../../etc/passwd HTTP/1.1\r\nHost: h\r\n\r\n", {400, 404}},
            {"GET /healthz HTTP/9.9\r\nHost: h\r\n\r\n", {400, 505}},
            {"GET /healthz HTTP/1.1\nHost: h\n\n", {0, 400}},
            {"GET /healthz HTTP/1.1\r\nHost: h\r\n folded\r\n\r\n", {200, 400}},
            {"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", {400, 505}},
            {std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11), {0, 400}},
            {std::string(4096, '\0'), {0, 400}},
        });
}

void hostileNames(Ground& ground, Verdict& verdict) {
    const auto named = [](const std::string& name) {
        return post("/groups", "Content-Type: application/json\r\n",
                    "{\"name\":\"" + name + "\",\"platform\":\"linux\"}");
    };
    ask(ground, verdict,
        {
            {named("\u202Egpj.exe"), {400}},
            {named("a\u2066b"), {400}},
            {named("pay\u200Bpal"), {400}},
            {named("\u200F"), {400}},
            {named("a\uFEFFb"), {400}},
            {named("a\\u0000b"), {400}},
            {named("a\\nb"), {400}},
            {named(repeated("a", 65)), {400}},
            {named("   "), {400}},
            {named("\U0001F468\u200D\U0001F469\u200D\U0001F467"), {200}},
            {named("<img src=/dev/zero>"), {200}}, // whoever shows it takes it for text
        });
}

/// Requests that never end, sent byte by byte: nobody else waits for them, and in time they go.
void slowRequests(Ground& ground, Verdict& verdict) {
    auto heads = ground.crowd(ground.size(100, 200));
    auto bodies = ground.crowd(ground.size(100, 200));
    pour(heads, "GET /healthz HTTP/1.1\r\nHost: h\r\nX: ", {5s});
    pour(bodies, "POST /groups HTTP/1.1\r\nHost: h\r\nContent-Length: 60000\r\n\r\n", {5s});
    const auto started = std::chrono::steady_clock::now();
    const auto patience = ground.full() ? 20s : 1s;
    std::size_t open = 1;
    while (open > 0 && std::chrono::steady_clock::now() - started < patience) {
        open = 0;
        for (auto* crowd : {&heads, &bodies}) {
            for (auto& peer : *crowd) {
                peer.pull();
                peer.offer("x");
                open += peer.over() ? 0 : 1;
            }
        }
        heads.front().readable(100ms);
    }
    verdict.expect(!ground.full() || open == 0, std::to_string(open) + " open after 20 s");
    verdict.seen = std::to_string(open) + " of " + std::to_string(heads.size() * 2) + " open";
}

/// More of them than the hub may hold.
void unfinishedBodies(Ground& ground, Verdict& verdict) {
    auto crowd = ground.crowd(ground.size(2400, 6000), 30);
    const auto bytes =
        post("/groups", "Content-Type: application/json\r\n", std::string(65536, ' '));
    const auto taken = pour(crowd, std::string_view(bytes).substr(0, bytes.size() - 1),
                            {ground.full() ? 12s : 4s});
    ground.calm();
    verdict.seen = std::to_string(taken >> 20) + " MiB taken";
}

/// What a connection takes on which nothing happens, by the peak of the hub's memory.
void idleConnections(Ground& ground, Verdict& verdict) {
    const auto before = ground.resident();
    const auto count = ground.size(300, 1500);
    const auto crowd = ground.crowd(count, 1 + count / 200);
    const auto each = (std::max(ground.peak(), before) - before) / static_cast<std::size_t>(count);
    verdict.seen = std::to_string(each >> 10) + " KiB each";
    verdict.expect(each < 48u << 10, "a connection takes " + verdict.seen);
}

/// More connections than the hub may have descriptors, all from one address.
void allDescriptors(Ground& ground, Verdict& verdict) {
    const auto before = ground.descriptors();
    for (const std::string_view sends : {"", "GET /healthz HTTP/1.1\r\nHost: h\r\nX",
                                         "POST /groups HTTP/1.1\r\nHost: h\r\n"
                                         "Content-Length: 9\r\n\r\n{"}) {
        auto crowd = ground.crowd(300);
        pour(crowd, sends, {5s});
        for (int i = 0; i < 5; ++i) {
            Peer newcomer(ground.hub(), ground.address());
            const int status = newcomer.exchange(httpRequest("GET", "/healthz")).status;
            verdict.expect(status == 200, "a newcomer was answered " + std::to_string(status));
        }
        const auto taken = ground.descriptors() - before;
        verdict.seen += std::to_string(taken) + " ";
    }
    verdict.seen += "descriptors taken";
}

/// Connections that come and go, politely, half or by a reset.
void churn(Ground& ground, Verdict& verdict) {
    const auto home = ground.address();
    const int rounds = ground.size(300, 3000);
    for (int i = 0; i < rounds; ++i) {
        Peer polite(ground.bare(), home);
        Peer half(ground.bare(), home);
        half.shutDownSending();
        Peer rude(ground.bare(), home);
        rude.offer("GET /healthz HTTP/1.1\r\nHost: h\r\n\r\n");
        rude.reset();
    }
    verdict.seen = std::to_string(rounds * 3) + " connections";
}

/// Thousands of requests at once whose answers nobody reads.
void pipelining(Ground& ground, Verdict& verdict) {
    const int requests = ground.size(2000, 20000);
    const auto bytes = repeated(httpRequest("GET", "/"), static_cast<std::size_t>(requests));
    auto crowd = ground.crowd(4, 1, 4096);
    const auto taken = pour(crowd, bytes, {2s});
    verdict.seen = std::to_string(taken >> 10) + " KiB taken unread";
    verdict.expect(crowd.front().reply().status == 200, "the first answer did not come");
}

void deadTokens(Ground& ground, Verdict& verdict) {
    const auto home = ground.address();
    const int count = ground.size(100, 1000);
    for (int i = 0; i < count; ++i) {
        const auto token = i % 2 == 0 ? "g." + std::to_string(i) : repeated("%41", 1000);
        const int status = Peer(ground.hub(), home).upgrade(token);
        verdict.expect(status == 401, "answered " + std::to_string(status));
    }
    verdict.seen = std::to_string(count) + " upgrades";
}

void manyGroups(Ground& ground, Verdict& verdict) {
    Peer peer(ground.hub(), ground.address());
    int made = 0;
    for (int i = 0; i < 60; ++i) {
        const auto reply = peer.exchange(httpRequest("POST", "/groups", kNewDevice));
        made += reply.status == 200 ? 1 : 0;
        verdict.expect(reply.status == 200 ||
                           (reply.status == 429 && reply.headers.contains("retry-after")),
                       "answered " + std::to_string(reply.status));
    }
    verdict.seen = std::to_string(made) + " of 60 groups made";
    verdict.expect(made == 20, verdict.seen);
}

/// Ten addresses that guess codes; an honest claim from another one comes after them. At a hub
/// where no other attack leaves codes alive, as their number decides how many guesses are let
/// through.
void guessedCodes(Ground& ground, Verdict& verdict) {
    const auto claim = [](const std::string& code) {
        return httpRequest("POST", "/pair/claim",
                           R"({"code":")" + code + R"(","name":"a","platform":"linux"})");
    };
    const auto member = ground.group(1).front();
    Peer home(ground.hub(), ground.address());
    const auto code = home.exchange(httpRequest("POST", "/pair", {}, member.token)).text("code");
    for (int address = 0; address < 10; ++address) {
        Peer guesser(ground.hub(), ground.address());
        for (int i = 0; i < 12; ++i) {
            const int status = guesser.exchange(claim("AAAA-AAAA")).status;
            verdict.expect(status == (i < 10 ? 403 : 429), "answered " + std::to_string(status));
        }
    }
    const int status = home.exchange(claim(code)).status;
    verdict.expect(status == 200, "the honest claim was answered " + std::to_string(status));
    verdict.seen = "100 wrong codes, then " + std::to_string(status);
}

void oddTls(Ground& ground, Verdict& verdict) {
    const auto home = ground.address();
    const std::pair<const char*, Peer::TlsSettings> clients[] = {
        {"TLS 1.1",
         [](SSL_CTX* context) {
             SSL_CTX_set_max_proto_version(context, TLS1_1_VERSION);
             SSL_CTX_set_cipher_list(context, "ALL:@SECLEVEL=0");
         }},
        {"CBC",
         [](SSL_CTX* context) {
             SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION);
             SSL_CTX_set_cipher_list(context, "ECDHE-ECDSA-AES128-SHA:ECDHE-ECDSA-AES256-SHA384:"
                                              "ECDHE-ECDSA-AES128-SHA256");
         }},
    };
    for (const auto& [what, settings] : clients) {
        bool agreed = true;
        try {
            Peer peer(ground.hub(), home, 0, settings);
        } catch (const std::exception&) {
            agreed = false;
        }
        verdict.expect(!agreed, std::string(what) + " was agreed to");
    }
    const auto only12 = [](SSL_CTX* context) {
        SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION);
    };
    Peer again(ground.hub(), home, 0, only12);
    SSL_renegotiate(again.tls());
    int renegotiated = SSL_do_handshake(again.tls());
    while (renegotiated != 1 && SSL_get_error(again.tls(), renegotiated) == SSL_ERROR_WANT_READ &&
           again.readable(2s))
        renegotiated = SSL_do_handshake(again.tls());
    verdict.expect(renegotiated != 1, "a handshake was renegotiated");

    const std::string garbage[] = {
        httpRequest("GET", "/healthz"),
        std::string("\x16\x03\x01\x00\x05\x01\x00\x00\x01\x00", 10),
        std::string("\x16\x03\x01\xff\xff", 5) + std::string(65535, 'x'),
        std::string("\x16\x03\x03\x40\x00\x01\x00\xff\xff", 9) + std::string(16384, '\0'),
        std::string(20000, '\x80'),
    };
    for (const auto& bytes : garbage) {
        Peer peer(ground.bare(), home);
        peer.send(bytes);
        peer.shutDownSending();
        verdict.expect(peer.readToEnd(), "the hub keeps what is no handshake");
    }
}

} // namespace

std::vector<Attack> attacksOfStrangers() {
    return {
        {"odd HTTP", Walls::plain,
         "no Host or two, encodings, lengths, heads and bodies that are wrong or too large",
         "each is refused with the status that says so", oddHttp},
        {"hostile names", Walls::plain,
         "names that turn the text round, hide characters or hold controls", "400", hostileNames},
        {"slow requests", Walls::plain, "heads and bodies sent byte by byte",
         "cut after 15 s (seen with --full)", slowRequests},
        {"unfinished bodies", Walls::plain, "thousands of bodies of 64 KiB without their last byte",
         "memory bounded", unfinishedBodies},
        {"idle TLS connections", Walls::tls, "handshakes and then nothing",
         "below 48 KiB a connection", idleConnections},
        {"odd TLS", Walls::tls, "TLS 1.1, CBC suites, renegotiation, garbage",
         "no handshake, the connection ends", oddTls},
        {"all descriptors", Walls::fewDescriptors,
         "300 connections of one address at a hub with 256 descriptors, idle and half-sent",
         "newcomers from elsewhere are served", allDescriptors},
        {"churn", Walls::plain, "connections that close, half close and reset", "nothing stays",
         churn},
        {"churn on TLS", Walls::tls, "the same without a handshake", "nothing stays", churn},
        {"pipelining", Walls::plain, "thousands of requests at once, answers unread",
         "the hub waits with the rest, the first answers come", pipelining},
        {"dead tokens", Walls::plain, "upgrades with tokens that are wrong or enormous", "401",
         deadTokens},
        {"many groups", Walls::plain, "60 groups from one address", "20, then 429", manyGroups},
        {"guessed codes", Walls::fewDescriptors, "100 wrong codes in a minute from ten addresses",
         "429 to each address after ten, and an honest claim passes", guessedCodes},
    };
}

} // namespace sorrelwind::relay::test
