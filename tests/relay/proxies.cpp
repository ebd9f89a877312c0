#include "tests/relay/proxies.h"

#include "tests/relay/certificate.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <poll.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace sorrelwind::relay::test {

namespace net = boost::asio;
using net::ip::tcp;

namespace {

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void replaceAll(std::string& text, const std::string& what, const std::string& by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
}

unsigned short freePort() {
    net::io_context io;
    return tcp::acceptor(io, {net::ip::address_v4::loopback(), 0}).local_endpoint().port();
}

void awaitPort(unsigned short port, const std::string& who) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        net::io_context io;
        tcp::socket socket(io);
        boost::system::error_code error;
        socket.connect({net::ip::address_v4::loopback(), port}, error);
        if (!error)
            return;
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error(who + " did not start");
        ::poll(nullptr, 0, 10); // there is nothing else to wait for
    }
}

std::string everythingOf(Program& program, const std::filesystem::path& folder) {
    program.signal(SIGTERM);
    if (program.wait() != 0)
        throw std::runtime_error("the proxy did not end: " + program.log());
    auto text = program.log();
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            text += contentOf(entry.path());
    return text;
}

} // namespace

std::string guideSnippet(const std::string& language, const Replacements& replacements) {
    const auto guide = contentOf(SORRELWIND_OPERATING_GUIDE);
    const auto fence = "```" + language + "\n";
    const auto begin = guide.find(fence);
    if (begin == std::string::npos)
        throw std::runtime_error("no snippet for " + language);
    const auto from = begin + fence.size();
    auto snippet = guide.substr(from, guide.find("```", from) - from);
    for (const auto& [what, by] : replacements) {
        if (snippet.find(what) == std::string::npos)
            throw std::runtime_error("not in the snippet: " + what);
        replaceAll(snippet, what, by);
    }
    return snippet;
}

Nginx::Nginx(std::string server)
    : m_port(freePort()), m_program({SORRELWIND_NGINX, "-p", m_folder.path().string(), "-c",
                                     prepare(std::move(server))}) {
    awaitPort(m_port, "nginx");
}

Nginx::~Nginx() = default;

std::string Nginx::prepare(std::string server) {
    const auto in = [this](const char* name) { return (m_folder.path() / name).string(); };
    writeCertificate(in("cert.pem"), in("key.pem"), 1, 90 * 86400);
    replaceAll(server, "PORT", std::to_string(m_port));
    replaceAll(server, "CERT", in("cert.pem"));
    replaceAll(server, "KEY", in("key.pem"));
    std::ofstream config(in("nginx.conf"));
    config << "daemon off;\nmaster_process off;\npid " << in("pid") << ";\nerror_log stderr;\n"
           << "events {}\nhttp {\naccess_log off;\n";
    for (const auto* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
        config << kind << "_temp_path " << in(kind) << ";\n";
    config << server << "}\n";
    return in("nginx.conf");
}

std::string Nginx::endAndRead() {
    return everythingOf(m_program, m_folder.path());
}

Caddy::Caddy(std::string caddyfile)
    : m_port(freePort()),
      m_program({"/usr/bin/env", "HOME=" + m_folder.path().string(), SORRELWIND_CADDY, "run",
                 "--adapter", "caddyfile", "--config", prepare(std::move(caddyfile))}) {
    awaitPort(m_port, "Caddy");
    if (!m_program.waitForLog("certificate obtained successfully"))
        throw std::runtime_error("Caddy made no certificate: " + m_program.log());
}

std::string Caddy::prepare(std::string caddyfile) {
    if (!caddyfile.starts_with("{\n"))
        throw std::runtime_error("the Caddyfile must begin with its options");
    caddyfile.insert(2, "  admin off\n  auto_https disable_redirects\n  local_certs\n"
                        "  skip_install_trust\n  default_bind 127.0.0.1\n  storage file_system " +
                            m_folder.path().string() + '\n');
    replaceAll(caddyfile, "PORT", std::to_string(m_port));
    const auto path = (m_folder.path() / "Caddyfile").string();
    std::ofstream(path) << caddyfile;
    return path;
}

std::string Caddy::endAndRead() {
    return everythingOf(m_program, m_folder.path());
}

std::string Caddy::trusted() const {
    return (m_folder.path() / "pki/authorities/local/root.crt").string();
}

} // namespace sorrelwind::relay::test
