// The doctor as a process: against real hubs, real proxies, and what is no hub.

#include "tests/relay/certificate.h"
#include "tests/relay/client.h"
#include "tests/relay/proxies.h"
#include "tests/relay/scripted_server.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <map>
#include <regex>
#include <sstream>

namespace sorrelwind::relay::test {
namespace {

using namespace std::chrono_literals;

struct Diagnosis {
    int status;
    std::string text;
    std::map<std::string, std::string> levels{}; ///< by what it is about

    [[nodiscard]] std::string level(const std::string& about) const {
        const auto found = levels.find(about);
        return found == levels.end() ? "" : found->second;
    }
};

Diagnosis examine(const std::string& url, const std::string& idle = "1",
                  std::chrono::milliseconds time = kPatience) {
    const auto outcome = runToEnd(
        {"LC_ALL=C.UTF-8", builtHub().string(), "doctor", "--idle", idle, url}, time, "env");
    Diagnosis diagnosis{outcome.status, outcome.text};
    std::istringstream lines(outcome.text);
    const std::regex form("(ok|warn|fail) +([a-z]+) +[^ ].*");
    for (std::string line; std::getline(lines, line);) {
        std::smatch parts;
        EXPECT_TRUE(std::regex_match(line, parts, form)) << line;
        if (!parts.empty())
            diagnosis.levels[parts[2]] = parts[1];
    }
    return diagnosis;
}

std::string local(unsigned short port, const char* host = "127.0.0.1") {
    return std::string("http://") + host + ":" + std::to_string(port);
}
std::string localTls(unsigned short port) {
    return "https://localhost:" + std::to_string(port);
}

/// Whom the doctor trusts, as long as this lives.
class Authority {
public:
    explicit Authority(const std::string& file) { ::setenv("SSL_CERT_FILE", file.c_str(), 1); }
    ~Authority() { ::unsetenv("SSL_CERT_FILE"); }
    Authority(const Authority&) = delete;
    Authority& operator=(const Authority&) = delete;
};

long countIn(const std::string& text, const std::string& what) {
    long count = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

/// Ends the hub and looks at what its visitors left behind.
void expectNothingLeft(HubProgram& hub) {
    hub.signal(SIGTERM);
    EXPECT_EQ(hub.wait(), 0);
    EXPECT_GT(countIn(hub.log(), "group created"), 0);
    EXPECT_EQ(countIn(hub.log(), "group created"), countIn(hub.log(), "device removed"))
        << hub.log();
}

TEST(Doctor, findsNothingWrongWithAHubOnLoopback) {
    TemporaryFolder folder;
    HubProgram hub(folder.path());
    const auto diagnosis = examine(local(hub.port()), "28", 60s);
    EXPECT_EQ(diagnosis.status, 0);
    for (const auto* about : {"address", "reachable", "hub", "version", "proxy", "page", "clock",
                              "store", "large", "websocket", "idle"})
        EXPECT_EQ(diagnosis.level(about), "ok") << about << " in " << diagnosis.text;
    expectNothingLeft(hub);
}

TEST(Doctor, judgesTheHubsOwnCertificate) {
    TemporaryFolder folder;
    const auto cert = (folder.path() / "cert.pem").string();
    const auto key = (folder.path() / "key.pem").string();
    const struct {
        long seconds;
        bool trusted;
        const char* host;
        const char* level;
        const char* says;
    } cases[] = {
        {90 * 86400 + 3600, true, "localhost", "ok", "90 days left, TLSv1.3"},
        {5 * 86400 + 3600, true, "localhost", "ok", "5 days left"},
        {900, true, "localhost", "warn", "0 days left: renew it"},
        {-60, true, "localhost", "fail", "it has expired"},
        {90 * 86400, false, "localhost", "fail", "signed by itself"},
        {90 * 86400, true, "127.0.0.1", "fail", "not for 127.0.0.1"},
    };
    for (const auto& c : cases) {
        writeCertificate(cert, key, 1, c.seconds);
        HubProgram hub(folder.path() / "data", {"--tls-cert", cert, "--tls-key", key});
        const Authority authority(c.trusted ? cert : "/dev/null");
        const auto diagnosis =
            examine(std::string("https://") + c.host + ":" + std::to_string(hub.port()), "0");
        EXPECT_EQ(diagnosis.level("certificate"), c.level) << diagnosis.text;
        EXPECT_NE(diagnosis.text.find(c.says), std::string::npos) << diagnosis.text;
        EXPECT_EQ(diagnosis.status, c.level == std::string("fail") ? 1 : 0);
        EXPECT_EQ(diagnosis.level("websocket"), "ok") << "the rest is looked at all the same";
        expectNothingLeft(hub);
    }
}

std::string guidesNginx(unsigned short hub) {
    return guideSnippet("nginx", {{"listen 443", "listen 127.0.0.1:PORT"},
                                  {"    listen [::]:443 ssl;\n", ""},
                                  {"server_name hub.example", "server_name localhost"},
                                  {"/etc/letsencrypt/live/hub.example/fullchain.pem", "CERT"},
                                  {"/etc/letsencrypt/live/hub.example/privkey.pem", "KEY"},
                                  {"127.0.0.1:8787", "127.0.0.1:" + std::to_string(hub)}});
}
std::string guidesCaddy(unsigned short hub) {
    return guideSnippet("caddy", {{"hub.example", "localhost:PORT"},
                                  {"127.0.0.1:8787", "127.0.0.1:" + std::to_string(hub)}});
}

/// The head of the answer to a request by the proxy on this port.
std::string askByProxy(unsigned short port, const std::string& request) {
    return exchangeTls(port, request + " HTTP/1.1\r\nHost: localhost\r\n\r\n", "\r\n\r\n").text;
}

TEST(Doctor, findsNothingWrongWithTheGuidesProxies) {
    TemporaryFolder folder;
    HubProgram hub(folder.path(), {"--trusted-proxy", "127.0.0.1"});
    const Nginx nginx(guidesNginx(hub.port()));
    const Caddy caddy(guidesCaddy(hub.port()));
    const struct {
        const char* name;
        unsigned short port;
        std::string trusted;
    } cases[] = {{"nginx", nginx.port(), nginx.trusted()},
                 {"Caddy", caddy.port(), caddy.trusted()}};
    for (const auto& c : cases) {
        const Authority authority(c.trusted);
        const auto diagnosis = examine(localTls(c.port));
        for (const auto* about :
             {"address", "hub", "version", "proxy", "page", "clock", "store", "large", "websocket"})
            EXPECT_EQ(diagnosis.level(about), "ok")
                << about << " behind " << c.name << " in " << diagnosis.text;
        // The proxies listen on 127.0.0.1; where "localhost" is ::1 as well, that is worth a
        // warning.
        EXPECT_NE(diagnosis.level("reachable"), "fail") << diagnosis.text;
        EXPECT_EQ(diagnosis.status, 0);
        auto head = askByProxy(c.port, "GET /healthz");
        std::transform(head.begin(), head.end(), head.begin(), ::tolower);
        EXPECT_NE(head.find("strict-transport-security: max-age="), std::string::npos) << head;
    }
    expectNothingLeft(hub);
}

TEST(Doctor, theGuidesProxiesLogNoTokenWhenTheHubDies) {
    TemporaryFolder folder;
    HubProgram hub(folder.path(), {"--trusted-proxy", "127.0.0.1"});
    Nginx nginx(guidesNginx(hub.port()));
    Caddy caddy(guidesCaddy(hub.port()));
    {
        const Authority nobody("/dev/null");
        const std::vector<std::string> idle{builtHub().string(), "doctor", "--idle", "600"};
        const auto by = [&](unsigned short port) {
            auto command = idle;
            command.push_back(localTls(port));
            return command;
        };
        Program overNginx(by(nginx.port()));
        Program overCaddy(by(caddy.port()));
        ASSERT_TRUE(overNginx.waitForLog("websocket"));
        ASSERT_TRUE(overCaddy.waitForLog("websocket"));
        hub.signal(SIGKILL);
        hub.wait();
        EXPECT_EQ(overNginx.wait(), 1);
        EXPECT_EQ(overCaddy.wait(), 1);
    }
    for (const auto port : {nginx.port(), caddy.port()})
        for (const auto* head : {"GET /ws?token=a.secret&x=%zz", "GET /crypto"}) {
            const auto answer = askByProxy(port, head);
            EXPECT_NE(answer.find(" 502 "), std::string::npos) << answer;
        }
    const std::regex token("token=(?!hidden)");
    for (const auto& log : {nginx.endAndRead(), caddy.endAndRead()}) {
        EXPECT_NE(log.find("onnection refused"), std::string::npos) << "nothing was logged at all";
        EXPECT_FALSE(std::regex_search(log, token)) << log;
        EXPECT_EQ(log.find("secret"), std::string::npos) << log;
    }
}

TEST(Doctor, saysWhatAProxyDoesWrong) {
    TemporaryFolder folder;
    HubProgram hub(folder.path());
    const auto upstream = "proxy_pass http://127.0.0.1:" + std::to_string(hub.port()) + ";\n";
    const std::string upgrade = "proxy_http_version 1.1;\nproxy_set_header Upgrade $http_upgrade;\n"
                                "proxy_set_header Connection upgrade;\n";
    const struct {
        const char* fault;
        std::string location;
        int status;
        const char* about;
        const char* level;
        const char* says;
        const char* idle = "0";
    } cases[] = {
        {"no upgrade", upstream, 1, "websocket", "fail", "drops the headers Upgrade"},
        {"no forwarding", upstream + upgrade, 0, "proxy", "warn", "passes no X-Forwarded-For"},
        {"not trusted", upstream + upgrade + "proxy_set_header X-Forwarded-For $remote_addr;\n", 0,
         "proxy", "warn", "--trusted-proxy"},
        {"no Host", upstream + upgrade, 0, "page", "warn", "pass on the browser's Host"},
        {"small bodies", upstream + upgrade, 0, "large", "warn", "client_max_body_size"},
        {"impatient", upstream + upgrade + "proxy_read_timeout 2s;\n", 1, "idle", "fail",
         "closed after 2 seconds", "20"},
        {"no hub behind it", "proxy_pass http://127.0.0.1:1;\n", 1, "hub", "fail",
         "cannot reach the hub"},
        {"other site", "return 200 hello;\n", 1, "hub", "fail", "not as a hub does"},
        {"redirection", "return 301 https://$host$request_uri;\n", 1, "hub", "fail",
         "the final address"},
    };
    for (const auto& c : cases) {
        const Nginx nginx("server {\nlisten 127.0.0.1:PORT;\nlocation / {\n" + c.location +
                          "}\n}\n");
        const auto diagnosis = examine(local(nginx.port()), c.idle);
        EXPECT_EQ(diagnosis.status, c.status) << c.fault << '\n' << diagnosis.text;
        EXPECT_EQ(diagnosis.level(c.about), c.level) << c.fault << '\n' << diagnosis.text;
        EXPECT_NE(diagnosis.text.find(c.says), std::string::npos) << c.fault << '\n'
                                                                  << diagnosis.text;
    }
    expectNothingLeft(hub);
}

TEST(Doctor, survivesWhatIsNoHub) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const struct {
        const char* what;
        std::string answer;
        ScriptedServer::Then then;
        const char* about;
    } cases[] = {
        {"silence", "", ScriptedServer::Then::stay, "hub"},
        {"closing", "", ScriptedServer::Then::close, "hub"},
        {"rubbish", std::string("\x16\x03\0\xff rubbish\r\n\r\n", 16), ScriptedServer::Then::stay,
         "hub"},
        {"another site", ok + "Content-Length: 13\r\n\r\n<html></html>",
         ScriptedServer::Then::close, "hub"},
        {"terminal codes",
         "HTTP/1.1 500 No\r\nContent-Length: 25\r\n\r\n{\"error\":\"\\u001b[31mred\"}",
         ScriptedServer::Then::close, "hub"},
        {"deep JSON", ok + "Content-Length: 50000\r\n\r\n" + std::string(50000, '['),
         ScriptedServer::Then::stay, "hub"},
        {"a long head", ok + "X: " + std::string(1 << 20, 'x'), ScriptedServer::Then::stay, "hub"},
        {"a long body", ok + "\r\n" + std::string(1 << 20, 'x'), ScriptedServer::Then::stay, "hub"},
    };
    for (const auto& c : cases) {
        const ScriptedServer server(c.answer, c.then);
        const auto diagnosis = examine(local(server.port()));
        EXPECT_EQ(diagnosis.status, 1) << c.what << '\n' << diagnosis.text;
        EXPECT_EQ(diagnosis.level(c.about), "fail") << c.what << '\n' << diagnosis.text;
        EXPECT_EQ(diagnosis.text.find('\x1b'), std::string::npos) << c.what;
        EXPECT_NE(diagnosis.text.find(": "), std::string::npos) << "what to do about " << c.what;
        const auto overTls = examine(localTls(server.port()));
        EXPECT_EQ(overTls.level("certificate"), "fail") << c.what << '\n' << overTls.text;
    }
    unsigned short closed = 0;
    {
        const ScriptedServer gone("");
        closed = gone.port();
    }
    EXPECT_EQ(examine(local(closed)).level("reachable"), "fail");
    EXPECT_EQ(examine("http://no-such-host.invalid").level("reachable"), "fail");
}

TEST(Doctor, tidiesUpWhenItIsInterrupted) {
    for (const int signal : {SIGINT, SIGTERM}) {
        TemporaryFolder folder;
        HubProgram hub(folder.path());
        {
            Program doctor({builtHub().string(), "doctor", "--idle", "600", local(hub.port())});
            ASSERT_TRUE(doctor.waitForLog("websocket"));
            doctor.signal(signal);
            EXPECT_EQ(doctor.wait(), 1);
            EXPECT_NE(doctor.log().find("interrupted"), std::string::npos) << doctor.log();
        }
        expectNothingLeft(hub);
    }
}

TEST(Doctor, saysSoWhenNoGroupIsToBeHad) {
    TemporaryFolder folder;
    HubProgram hub(folder.path(), {"--new-groups", "1"});
    createGroup(hub.port());
    EXPECT_EQ(examine(local(hub.port()), "0").level("websocket"), "ok") << "it counts by itself";
    const auto diagnosis = examine(local(hub.port()), "0");
    EXPECT_EQ(diagnosis.level("group"), "warn") << diagnosis.text;
    EXPECT_EQ(diagnosis.level("websocket"), "") << diagnosis.text;
}

TEST(Doctor, speaksChineseWhereTheTerminalDoes) {
    TemporaryFolder folder;
    HubProgram hub(folder.path());
    const struct {
        const char* all;
        const char* messages;
        bool chinese;
    } cases[] = {
        {"zh_CN.UTF-8", "C", true}, {"", "zh_TW.UTF-8", true}, {"C.UTF-8", "zh_CN", false}};
    for (const auto& c : cases) {
        const auto outcome =
            runToEnd({"LC_ALL=" + std::string(c.all), "LC_MESSAGES=" + std::string(c.messages),
                      builtHub().string(), "doctor", "--idle", "1", local(hub.port())},
                     kPatience, "env");
        EXPECT_EQ(outcome.status, 0);
        std::istringstream lines(outcome.text);
        const std::regex chinese("(正常|警告)  .*[\xe4-\xe9][\x80-\xbf]{2}.*|正常  地址 .*");
        for (std::string line; std::getline(lines, line);)
            EXPECT_EQ(std::regex_match(line, chinese), c.chinese) << line;
        EXPECT_EQ(countIn(outcome.text, "\n"), 11);
    }
}

TEST(Doctor, takesItsOwnOptionsOnly) {
    for (const std::vector<std::string>& flags : {std::vector<std::string>{"doctor"},
                                                  {"doctor", "http://h", "--idle", "-1"},
                                                  {"doctor", "http://h", "--idle", "soon"},
                                                  {"--listen", "127.0.0.1:0", "doctor", "http://h"},
                                                  {"doctor", "http://h", "--data", "d"},
                                                  {"doctor", "http://h", "http://i"}})
        EXPECT_EQ(runToEnd(flags).status, 2) << flags.back();
    const auto link = examine("ftp://hub.example/#pair=ABCD-EFGH&k=a-secret-key");
    EXPECT_EQ(link.status, 1);
    EXPECT_EQ(link.text.find("secret"), std::string::npos) << link.text;
}

} // namespace
} // namespace sorrelwind::relay::test
