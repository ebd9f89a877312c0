// The program as a process: its life, its files, its log.

#include "tests/relay/certificate.h"
#include "tests/relay/client.h"
#include "tests/relay/hub_program.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <memory>
#include <regex>

namespace sorrelwind::relay::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

unsigned modeOf(const fs::path& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 0777u : 0;
}

uid_t ownerOf(const fs::path& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_uid : static_cast<uid_t>(-1);
}

void makeDatabase(const fs::path& path, const char* sql) {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
}

class Process : public testing::Test {
protected:
    TemporaryFolder folder;
    const std::string cert = (folder.path() / "cert.pem").string();
    const std::string key = (folder.path() / "key.pem").string();
    const std::vector<std::string> tls{"--tls-cert", cert, "--tls-key", key};
};

TEST_F(Process, keepsItsFilesPrivate) {
    const auto data = folder.path() / "made" / "here";
    ::umask(0);
    const HubProgram hub(data);
    ::umask(0022);
    createGroup(hub.port());
    EXPECT_EQ(modeOf(data), 0700u);
    EXPECT_EQ(modeOf(data.parent_path()), 0700u);
    for (const auto* file : {"hub.db", "hub.db-wal", "hub.db-shm"})
        EXPECT_EQ(modeOf(data / file), 0600u) << file;
}

TEST_F(Process, losesNoMembershipWhenItIsKilled) {
    std::vector<Device> devices;
    std::string code;
    for (int round = 0; round < 3; ++round) {
        HubProgram hub(folder.path());
        for (const auto& device : devices)
            EXPECT_EQ(request(hub.port(), {"GET", "/crypto", {}, device.token}).status, 200);
        if (!devices.empty()) {
            const std::string claim = R"({"code":")" + code + R"(","name":"a","platform":"b"})";
            EXPECT_EQ(request(hub.port(), {"POST", "/pair/claim", claim}).status, 200);
        }
        devices.push_back(createGroup(hub.port()));
        devices.push_back(joinGroup(hub.port(), devices.back()));
        code = request(hub.port(), {"POST", "/pair", {}, devices[0].token}).text("code");
        hub.signal(SIGKILL);
        EXPECT_EQ(hub.wait(), 128 + SIGKILL);
    }
}

TEST_F(Process, leavesPolitelyAndSoon) {
    for (const int signal : {SIGTERM, SIGINT}) {
        HubProgram hub(folder.path());
        const auto device = createGroup(hub.port());
        Socket socket(hub.port(), device.token);
        socket.next("hello");
        Http idle(hub.port());
        idle.send({"GET", "/healthz"});
        RawConnection half(hub.port());
        half.write("GET /healthz HTTP/1.1\r\nHost: h\r\n");
        // A peer that never says goodbye must not hold the process up: its reader is never run.
        Socket silent(hub.port(), device.token);
        silent.next("hello");
        Http(hub.port()).send({"GET", "/healthz"}); // by now the half request has been taken up
        hub.signal(signal);
        ASSERT_TRUE(hub.waitForLog("stopping"));
        half.write("\r\n");
        EXPECT_TRUE(half.readToEnd().starts_with("HTTP/1.1 503 "));
        EXPECT_EQ(socket.closeCode(), 1001);
        EXPECT_EQ(hub.wait(5s), 0);
    }
}

TEST_F(Process, aRequestMustBeWholeIn15Seconds) {
    writeCertificate(cert, key, 1);
    const HubProgram hub(folder.path() / "plain");
    const HubProgram tlsHub(folder.path() / "tls", tls);
    RawConnection head(hub.port());
    head.write("GET / HTTP/1.1\r\nHost");
    RawConnection body(hub.port());
    body.write("POST /groups HTTP/1.1\r\nHost: h\r\nContent-Length: 10\r\n\r\n{");
    RawConnection silent(hub.port());
    RawConnection handshake(tlsHub.port());
    handshake.write("\x16\x03\x01");
    for (auto* connection : {&head, &body, &silent, &handshake})
        EXPECT_EQ(connection->readToEnd(), "");
}

TEST_F(Process, newcomersWaitWhenAllDescriptorsAreInUse) {
    const HubProgram hub(folder.path(), {"--nofile=80", builtHub(), "--max-connections", "0"},
                         "prlimit");
    std::vector<std::unique_ptr<RawConnection>> busy;
    for (int i = 0; i < 60; ++i) {
        busy.push_back(std::make_unique<RawConnection>(hub.port()));
        busy.back()->write("GET /healthz HTTP/1.1\r\nHost: h");
    }
    // Only when those have run out of time.
    EXPECT_EQ(request(hub.port(), {"GET", "/healthz"}).status, 200);
}

TEST_F(Process, speaksTlsAndRenewsItsCertificate) {
    writeCertificate(cert, key, 1);
    HubProgram hub(folder.path(), tls);
    EXPECT_TRUE(hub.waitForLog("listening on https://127.0.0.1:"));

    for (const auto* good : {"ECDHE-ECDSA-AES128-GCM-SHA256", "ECDHE-ECDSA-CHACHA20-POLY1305"})
        EXPECT_EQ(tls12Cipher(hub.port(), good), good);
    EXPECT_EQ(tls12Cipher(hub.port(), "ALL:!AESGCM:!CHACHA20:@SECLEVEL=0"), "");

    const std::string create = "POST /groups HTTP/1.1\r\nHost: h\r\nContent-Length: 27\r\n"
                               "Content-Type: application/json\r\n\r\n"
                               R"({"name":"a","platform":"b"})";
    const auto created = exchangeTls(hub.port(), create, "}");
    EXPECT_EQ(created.serial, 1);
    const auto at = created.text.find("\"token\":\"") + 9;
    const auto token = created.text.substr(at, created.text.find('"', at) - at);
    const auto socket = exchangeTls(hub.port(), upgradeRequest(token), "}]}");
    EXPECT_NE(socket.text.find(R"("type":"hello")"), std::string::npos) << socket.text;

    writeCertificate(cert, key, 2);
    const std::string health = "GET /healthz HTTP/1.1\r\nHost: h\r\n\r\n";
    EXPECT_EQ(exchangeTls(hub.port(), health, "}").serial, 1);
    hub.signal(SIGHUP);
    ASSERT_TRUE(hub.waitForLog("certificate renewed"));
    EXPECT_EQ(exchangeTls(hub.port(), health, "}").serial, 2);

    std::ofstream(cert) << "rubbish";
    hub.signal(SIGHUP);
    ASSERT_TRUE(hub.waitForLog("the old certificate stays"));
    EXPECT_EQ(exchangeTls(hub.port(), health, "}").serial, 2);
}

TEST_F(Process, saysInOneSentenceWhyItCannotStart) {
    constexpr int kMayPass = 1; // a service is started again then
    constexpr int kWrong = 2;   // and not then
    const auto data = (folder.path() / "data").string();
    const auto file = (folder.path() / "file").string();
    std::ofstream(file) << "not a database, though long enough to look like one to a careless eye";
    fs::create_directory(folder.path() / "bad");
    fs::copy_file(file, folder.path() / "bad" / "hub.db");
    const HubProgram running(folder.path() / "running");
    const auto taken = "127.0.0.1:" + std::to_string(running.port());
    const std::tuple<std::vector<std::string>, int, std::string> cases[] = {
        {{"--data", data, "--listen", taken}, kMayPass, "cannot listen on " + taken},
        {{"--data", data, "--listen", "192.0.2.1:0"}, kMayPass, "cannot listen on 192.0.2.1:0"},
        {{"--data", (folder.path() / "running").string()}, kMayPass, "another sorrelwind-hub"},
        {{"--data", file, "--listen", "127.0.0.1:0"}, kWrong, "cannot use the directory"},
        {{"--data", file + "/sub", "--listen", "127.0.0.1:0"}, kWrong, "cannot use the directory"},
        {{"--data", (folder.path() / "bad").string()}, kWrong, "is no database"},
        {{"--data", data, "--web", data + "/none"}, kWrong, "cannot read the folder"},
        {{"--data", data, "--tls-cert", file, "--tls-key", file},
         kWrong,
         "cannot use the certificate"},
        {{"--tls-cert", file}, 2, "--tls-key"},
        {{"--listen", "localhost"}, 2, "not an IP address and a port"},
        {{"--trusted-proxy", "10.0.0.0/99"}, 2, "not an address range"},
        {{"--max-payload", "-1"}, 2, "--max-payload"},
        {{"--publish-burst", "0.5"}, 2, "--publish-burst: must be 0 or at least 1"},
        {{"--publish-burst", "nan"}, 2, "--publish-burst"},
        {{"--publish-rate", "nan"}, 2, "--publish-rate"},
        {{"--max-memory", "40000000"}, 2, "--max-memory: must be 0 or at least 42205184"},
        {{"--nonsense"}, 2, "--nonsense. See: sorrelwind-hub --help\n"},
        {{"doctor"}, 2, "URL is required. See: sorrelwind-hub doctor --help\n"},
    };
    for (const auto& [flags, status, says] : cases) {
        const auto failure = runToEnd(flags);
        EXPECT_EQ(failure.status, status) << failure.text;
        EXPECT_NE(failure.text.find(says), std::string::npos) << failure.text;
        const auto lines = std::count(failure.text.begin(), failure.text.end(), '\n');
        EXPECT_EQ(lines, 1) << failure.text;

        // Looked at beforehand: the same, but for another hub that runs in the place of this one.
        auto looked = flags;
        looked.emplace_back("--check");
        const auto check = runToEnd(looked);
        const bool isOwn = says.starts_with("another") || says.ends_with(taken);
        EXPECT_EQ(check.status, isOwn ? 0 : 2) << check.text;
        EXPECT_NE(check.text.find(isOwn ? "the options are right" : says), std::string::npos)
            << check.text;
    }
    EXPECT_FALSE(fs::exists(data + "/made")) << "looking makes nothing";
}

/// Plays the service manager of all programs that are started as long as it lives.
class Manager {
public:
    explicit Manager(const fs::path& path) : m_socket(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.string().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
    }
    ~Manager() {
        ::unsetenv("NOTIFY_SOCKET");
        ::close(m_socket);
    }
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    std::string next() const {
        pollfd wait{m_socket, POLLIN, 0};
        char message[1024];
        const bool came = ::poll(&wait, 1, kPatience / 1ms) > 0;
        const auto size = came ? ::recv(m_socket, message, sizeof message, 0) : 0;
        return {message, static_cast<std::size_t>(size)};
    }

private:
    int m_socket;
};

TEST_F(Process, tellsTheServiceManagerHowThingsStand) {
    const Manager manager(folder.path() / "notify");
    {
        HubProgram hub(folder.path() / "data");
        const auto at = "listening on http://127.0.0.1:" + std::to_string(hub.port());
        EXPECT_EQ(manager.next(), "READY=1\nSTATUS=" + at);
        EXPECT_EQ(request(hub.port(), {"GET", "/readyz"}).status, 200);
        hub.signal(SIGHUP);
        EXPECT_EQ(manager.next(), "RELOADING=1");
        EXPECT_TRUE(manager.next().starts_with("READY=1\nSTATUS=" + at + "; "));
        hub.signal(SIGTERM);
        EXPECT_EQ(manager.next(), "STOPPING=1");
        EXPECT_EQ(hub.wait(), 0);
    }
    EXPECT_EQ(runToEnd({"--nonsense"}).status, 2);
    EXPECT_TRUE(manager.next().starts_with("STATUS=")) << "not ready, for this reason";
    EXPECT_EQ(runToEnd({"--listen", "192.0.2.1:0", "--data", folder.path()}).status, 1);
    EXPECT_TRUE(manager.next().starts_with("STATUS=cannot listen on 192.0.2.1:0"));
}

TEST_F(Process, backsUpWhileItRunsAndIsRestored) {
    const auto data = folder.path() / "data";
    const auto other = folder.path() / "other";
    const auto copy = folder.path() / "copy";
    const auto run = [](const char* what, const fs::path& file, const fs::path& in) {
        return runToEnd({what, file, "--data", in});
    };
    Device before;
    Device after;
    {
        const HubProgram hub(data);
        before = createGroup(hub.port());
        std::ofstream(copy) << "what a backup of yesterday left here";
        EXPECT_EQ(run("backup", copy, data).status, 0);
        EXPECT_EQ(modeOf(copy), 0600u);
        after = createGroup(hub.port());
        EXPECT_EQ(run("restore", copy, data).status, 1) << "it runs";
        EXPECT_EQ(run("backup", data / "hub.db", data).status, 1) << "no copy over itself";
        EXPECT_EQ(request(hub.port(), {"GET", "/crypto", {}, after.token}).status, 200);
    }
    const auto isMember = [&](const fs::path& in, const Device& device) {
        const HubProgram hub(in);
        return request(hub.port(), {"GET", "/crypto", {}, device.token}).status == 200;
    };
    // Killed, so that there is a log beside the old database.
    EXPECT_TRUE(fs::exists(data / "hub.db-wal"));
    for (const auto& in : {data, other}) {
        const auto restored = run("restore", copy, in);
        EXPECT_EQ(restored.status, 0) << restored.text;
        EXPECT_EQ(modeOf(in / "hub.db"), 0600u);
        EXPECT_TRUE(isMember(in, before));
        EXPECT_FALSE(isMember(in, after));
    }

    std::ofstream(folder.path() / "text") << "not a database, but long enough to pass for one";
    makeDatabase(folder.path() / "foreign", "CREATE TABLE t (x); PRAGMA user_version = 1");
    makeDatabase(folder.path() / "newer", "PRAGMA user_version = 99");
    for (const auto* bad : {"text", "foreign", "newer", "missing"}) {
        const auto refused = run("restore", folder.path() / bad, data);
        EXPECT_EQ(refused.status, 1) << bad;
        EXPECT_EQ(std::count(refused.text.begin(), refused.text.end(), '\n'), 1) << refused.text;
        EXPECT_TRUE(isMember(data, before)) << "what was there stays";
    }
    EXPECT_FALSE(fs::exists(folder.path() / "missing"));
    // For the owner of the folder, whoever restores, also where there was no database.
    const auto service = folder.path() / "service";
    fs::create_directory(service);
    EXPECT_EQ(::chown(service.c_str(), ::geteuid() == 0 ? 1 : ::geteuid(), ::getegid()), 0);
    for (const auto& [from, status] : {std::pair("text", 1), {"copy", 0}}) {
        EXPECT_EQ(run("restore", folder.path() / from, service).status, status);
        EXPECT_EQ(ownerOf(service / "hub.db"), ownerOf(service)) << from;
    }
    EXPECT_EQ(run("backup", folder.path() / "none", folder.path() / "empty").status, 1);
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
        const auto name = entry.path().filename().string();
        EXPECT_FALSE(name.starts_with("hub.db.") || name.starts_with("copy.")) << name;
    }
}

TEST_F(Process, saysItsNameAndVersion) {
    const auto outcome = runToEnd({"--version"});
    EXPECT_EQ(outcome.status, 0);
    const std::regex nameAndVersion("sorrelwind-hub [0-9]+[.][0-9]+[.][0-9]+\n");
    EXPECT_TRUE(std::regex_match(outcome.text, nameAndVersion)) << outcome.text;
    const auto help = runToEnd({"--help"}).text;
    EXPECT_NE(help.find("--max-payload BYTES=8388608 "), std::string::npos) << help;
    EXPECT_FALSE(std::regex_search(help, std::regex("U?INT|FLOAT"))) << help;
}

TEST_F(Process, logsNoSecretsAndNoAddresses) {
    HubProgram hub(folder.path(), {"--trusted-proxy", "127.0.0.1"});
    const auto device = createGroup(hub.port());
    const auto code = request(hub.port(), {"POST", "/pair", {}, device.token}).text("code");
    const std::string claim = R"({"code":")" + code + R"(","name":"a secret name","platform":"b"})";
    const std::map<std::string, std::string> from{{"X-Forwarded-For", "198.51.100.77"}};
    const auto joined = request(hub.port(), {"POST", "/pair/claim", claim, {}, from});
    EXPECT_EQ(request(hub.port(), {"POST", "/pair/claim", claim, {}, from}).status, 403);
    {
        Socket socket(hub.port(), device.token);
        socket.publish(item("an-item-id", "sw1.some.ciphertext"));
        socket.next("ack");
    }
    Socket(hub.port(), "wrong.token");
    request(hub.port(), {"GET", "/ws?token=" + device.token});
    hub.signal(SIGTERM);
    EXPECT_EQ(hub.wait(), 0);
    for (const auto* event : {"group created", "device joined", "claim refused", "socket opened",
                              "socket closed", "stopped"})
        EXPECT_NE(hub.log().find(event), std::string::npos) << event << " in " << hub.log();
    for (const auto& secret :
         {device.token, joined.text("token"), device.group, code, code.substr(0, 4),
          std::string("wrong.token"), std::string("198.51.100"), std::string("secret name"),
          std::string("an-item-id"), std::string("sw1.")})
        EXPECT_EQ(hub.log().find(secret), std::string::npos) << secret << " in " << hub.log();
}

} // namespace
} // namespace sorrelwind::relay::test
