#include "relay/server.h"

#include "relay/service_manager.h"
#include "relay/state_directory.h"
#include "relay/tls.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>

namespace sorrelwind::relay {

namespace net = boost::asio;
using boost::system::error_code;
using net::ip::tcp;

namespace {

using namespace std::chrono_literals;

constexpr auto kStopTime = 4500ms;
constexpr auto kReturnEvery = 10s;
constexpr std::size_t kOtherFiles = 32; ///< descriptors that are not connections

/// Has the heap give back what it keeps between small blocks, such as those of connections, once it
/// is much.
void returnMemory() {
    constexpr std::size_t kWorthIt = 24u << 20; // the program itself is in memory as well
    std::size_t pages = 0;
    std::size_t residentPages = 0;
    std::ifstream("/proc/self/statm") >> pages >> residentPages;
    const auto resident = residentPages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const auto heap = ::mallinfo2();
    if (resident > heap.uordblks + heap.hblkhd + kWorthIt)
        ::malloc_trim(0);
}

/// None of the server's own coroutines may fail and leave the others running.
void orEnd(const std::exception_ptr& thrown) {
    if (thrown)
        std::rethrow_exception(thrown);
}

/// Raises the limit of open files as far as it goes; returns how many connections fit into it.
std::size_t fileLimit() {
    constexpr rlim_t kEnough = 65536;
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) != 0)
        return 512;
    files.rlim_cur = std::max(files.rlim_cur, std::min(files.rlim_max, kEnough));
    setrlimit(RLIMIT_NOFILE, &files);
    getrlimit(RLIMIT_NOFILE, &files);
    const auto limit = static_cast<std::size_t>(std::min(files.rlim_cur, kEnough));
    return limit > 2 * kOtherFiles ? limit - kOtherFiles : limit / 2;
}

/// How many connections fit into the open files and into half of the memory.
std::size_t connectionLimit(const Options& options) {
    const auto files = fileLimit();
    const auto memory = options.limits.maxMemory / 2 / (options.tlsCert ? kTlsBytes : kPlainBytes);
    return memory == 0 ? files : std::min<std::size_t>(files, memory);
}

} // namespace

error_code bindTo(tcp::acceptor& acceptor, const ListenAddress& address) {
    const tcp::endpoint endpoint(address.address, address.port);
    error_code error;
    const auto step = [&](auto&& act) {
        if (!error)
            act();
    };
    acceptor.open(endpoint.protocol(), error);
    step([&] { acceptor.set_option(tcp::acceptor::reuse_address(true), error); });
    step([&] {
        // So that "[::]" and "0.0.0.0" can be listened on side by side.
        if (address.address.is_v6())
            acceptor.set_option(net::ip::v6_only(true), error);
    });
    step([&] { acceptor.bind(endpoint, error); });
    return error;
}

void refuse(const ListenAddress& address, const error_code& error) {
    if (!error)
        return;
    const auto sentence = "cannot listen on " + address.text() + ": " + error.message();
    // The other program may end, and the network may be on its way up.
    if (error == net::error::address_in_use || error.value() == EADDRNOTAVAIL)
        throw StartError(sentence);
    throw OptionError(sentence);
}

Server::Server(const Options& options, Hub& hub, Api& api)
    : m_options(options), m_hub(hub),
      m_connections(connectionLimit(options), options.limits.maxConnections),
      m_service{hub, api, options.trustedProxies, m_connections},
      m_signals(m_io, SIGTERM, SIGINT, SIGHUP), m_tick(m_io), m_deadline(m_io) {
    if (options.tlsCert)
        m_tls = loadTls(*options.tlsCert, *options.tlsKey);
    for (const auto& address : options.listen) {
        auto& acceptor = m_acceptors.emplace_back(m_io);
        auto error = bindTo(acceptor, address);
        if (!error)
            acceptor.listen(net::socket_base::max_listen_connections, error);
        refuse(address, error);
    }
    m_hub.onTickSoon([this] { m_tick.cancel(); });
    m_connections.onEmptied([this] { leaveWhenEmpty(); });
}

Server::~Server() {
    m_hub.onTickSoon({});
    m_connections.onEmptied({});
}

void Server::run() {
    for (auto& acceptor : m_acceptors) {
        const auto local = acceptor.local_endpoint();
        const ListenAddress address{local.address(), local.port()};
        const auto url = (m_tls ? "https://" : "http://") + address.text();
        logEvent("listening on " + url);
        m_status.append(m_status.empty() ? "listening on " : ", ").append(url);
        if (!m_tls && !local.address().is_loopback())
            logEvent("warning: without TLS tokens can be read on the way; put a TLS proxy in "
                     "front or give --tls-cert and --tls-key");
        net::co_spawn(m_io, accept(acceptor), orEnd);
    }
    net::co_spawn(m_io, obeySignals(), orEnd);
    net::co_spawn(m_io, keepTime(), orEnd);
    tellServiceManager("READY=1", m_status);
    m_io.run();
}

net::awaitable<void> Server::accept(tcp::acceptor& acceptor) {
    while (acceptor.is_open()) {
        error_code error;
        co_await acceptor.async_wait(tcp::acceptor::wait_read,
                                     net::redirect_error(net::use_awaitable, error));
        if (!error && m_connections.makeRoom(std::chrono::steady_clock::now())) {
            auto socket =
                co_await acceptor.async_accept(net::redirect_error(net::use_awaitable, error));
            if (!error && !m_hub.stopping())
                serve(std::move(socket));
            if (!error || !acceptor.is_open())
                continue;
        }
        // At the limit or out of descriptors: newcomers wait in the kernel's queue for a while.
        net::steady_timer pause(m_io, 100ms);
        co_await pause.async_wait(net::redirect_error(net::use_awaitable, error));
    }
}

void Server::serve(tcp::socket socket) {
    try {
        serveConnection(m_service, std::move(socket), m_tls);
    } catch (const std::exception& failure) {
        logEvent(failure.what()); // this connection's alone
    }
}

net::awaitable<void> Server::obeySignals() {
    while (!m_hub.stopping()) {
        error_code error;
        const int signal =
            co_await m_signals.async_wait(net::redirect_error(net::use_awaitable, error));
        if (error)
            co_return;
        if (signal == SIGHUP)
            reloadTls();
        else
            stop();
    }
}

net::awaitable<void> Server::keepTime() {
    Steady nextReturn;
    while (!m_hub.stopping()) {
        const auto now = Now::read();
        m_hub.tick(now);
        if (now.steady >= nextReturn) {
            nextReturn = now.steady + kReturnEvery;
            returnMemory();
        }
        error_code ignored;
        m_tick.expires_at(std::min(m_hub.nextTick(), nextReturn));
        co_await m_tick.async_wait(net::redirect_error(net::use_awaitable, ignored));
    }
}

void Server::reloadTls() {
    tellServiceManager("RELOADING=1");
    std::string outcome = "nothing to read again without --tls-cert";
    if (m_tls) {
        try {
            m_tls = loadTls(*m_options.tlsCert, *m_options.tlsKey);
            outcome = "certificate renewed";
        } catch (const StartError& error) {
            outcome = std::string("the old certificate stays: ") + error.what();
        }
    }
    logEvent(outcome);
    tellServiceManager("READY=1", m_status + "; " + outcome);
}

void Server::stop() {
    logEvent("stopping");
    tellServiceManager("STOPPING=1");
    m_hub.stop();
    error_code ignored;
    for (auto& acceptor : m_acceptors)
        acceptor.close(ignored);
    m_connections.stopIdle();
    m_tick.cancel();
    m_deadline.expires_after(kStopTime);
    m_deadline.async_wait([this](error_code error) {
        if (!error)
            m_io.stop();
    });
    leaveWhenEmpty();
}

void Server::leaveWhenEmpty() {
    if (m_hub.stopping() && m_connections.size() == 0)
        m_deadline.cancel();
}

} // namespace sorrelwind::relay
