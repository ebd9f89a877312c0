#include "relay/doctor.h"

#include "relay/findings.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <csignal>
#include <ctime>
#include <iostream>

namespace sorrelwind::relay {

namespace {

namespace net = boost::asio;
using Level = Finding::Level;

constexpr std::size_t kLarge = 2u << 20; ///< bytes, above the usual limit of a proxy, below a hub's

const Text kSeeLogs("请看服务器和它前面的代理的日志",
                    "see the logs of the hub and of the proxy before it");

Text interrupted() {
    return {"已中断", "interrupted"};
}

class Doctor {
public:
    Doctor(const HubAddress& address, std::chrono::seconds idle)
        : m_address(address), m_idle(idle), m_visit(address) {}

    int run();

private:
    net::awaitable<void> examine();
    // Each says what it found; the two with an answer, whether it is worth while to go on.
    net::awaitable<bool> reach();
    net::awaitable<void> lookAtCertificate();
    net::awaitable<void> askHealth();
    net::awaitable<void> askAsPage();
    net::awaitable<void> askStore();
    net::awaitable<bool> becomeGuest();
    net::awaitable<void> sendLarge();
    net::awaitable<void> openSocket();
    net::awaitable<void> idle();
    net::awaitable<void> leave();

    /// What to do, should the visit come to nothing, is `advice`.
    net::awaitable<void> attempt(std::string_view about, Text advice, net::awaitable<void> visit);
    /// The status of the answer; 0 without one.
    net::awaitable<int> removeGuest();
    void say(const Finding& finding);

    const Lang m_lang = terminalLanguage();
    HubAddress m_address;
    std::chrono::seconds m_idle;
    HubVisit m_visit;
    std::optional<Guest> m_guest; ///< as long as it is to be removed
    bool m_isTls = false;
    bool m_isHub = false;
    bool m_failed = false;
    bool m_asking = false; ///< for a group, so that it is open whether there is one
    bool m_interrupted = false;
};

void Doctor::say(const Finding& finding) {
    m_failed = m_failed || finding.level == Level::fail;
    std::cout << finding.line(m_lang) << std::endl;
}

net::awaitable<void> Doctor::attempt(std::string_view about, Text advice,
                                     net::awaitable<void> visit) {
    std::optional<Text> failure;
    try {
        co_await std::move(visit);
    } catch (const VisitError& error) {
        failure = error.text();
    }
    if (failure)
        say({Level::fail, about, {"它%1：%2", "it %1: %2", {*failure, advice}}});
}

net::awaitable<bool> Doctor::reach() {
    const auto endpoints = co_await m_visit.resolve();
    std::string reached;
    std::string silent;
    for (const auto& endpoint : endpoints) {
        const auto error = co_await m_visit.connect(endpoint);
        const bool noRoad = error == net::error::network_unreachable ||
                            error == net::error::address_family_not_supported;
        if (noRoad || (error && endpoint.address().is_loopback() && !reached.empty()))
            continue; // says something about this computer's network, not about the hub
        auto& list = error ? silent : reached;
        list.append(list.empty() ? "" : ", ").append(endpoint.address().to_string());
    }
    constexpr auto kAbout = "reachable";
    const auto port = std::to_string(m_address.port);
    if (endpoints.empty())
        say({Level::fail,
             kAbout,
             {"名称 %1 没有对应的地址：请检查它的 DNS 记录",
              "the name %1 leads to no address: look at its DNS record",
              {m_address.host}}});
    else if (reached.empty())
        say({Level::fail,
             kAbout,
             {"%2的端口 %1 不接受连接：请看服务器是否在运行、它的 --listen，以及途中的防火墙",
              "nothing accepts connections on port %1%2: see whether the hub runs, its --listen, "
              "and the firewalls on the way",
              {port, silent.empty() ? Text() : Text(silent + " ", " at " + silent)}}});
    else if (!silent.empty())
        say({Level::warn,
             kAbout,
             {"%1 的端口 %2 接受连接，但 %3 不接受：请从 DNS 里去掉那个地址，或让服务器也监听它",
              "%1 accepts connections on port %2, but %3 does not: drop that address from the DNS "
              "or let the hub listen there as well",
              {reached, port, silent}}});
    else
        say({Level::ok,
             kAbout,
             {"%1 的端口 %2 接受连接", "%1 accepts connections on port %2", {reached, port}}});
    co_return !reached.empty();
}

net::awaitable<void> Doctor::lookAtCertificate() {
    const auto certificate = co_await m_visit.certificate();
    m_isTls = true;
    say(aboutCertificate(certificate, m_address));
}

net::awaitable<void> Doctor::askHealth() {
    const HubVisit::Request request{"GET", "/healthz"};
    const auto sent = std::time(nullptr);
    const auto health = co_await m_visit.send(request);
    const auto received = std::time(nullptr);
    const auto hub = aboutHealth(health);
    say(hub);
    m_isHub = hub.level == Level::ok;
    if (!m_isHub)
        co_return;
    say(aboutVersion(health, SORRELWIND_VERSION));
    say(aboutProxy(health));
    say(aboutClock(health, sent, received));
}

net::awaitable<void> Doctor::askAsPage() {
    const HubVisit::Request request{"POST", "/pair/claim", {}, "{}", true};
    const auto refusal = co_await m_visit.send(request);
    say(aboutPage(refusal));
}

net::awaitable<void> Doctor::askStore() {
    const HubVisit::Request request{"GET", "/readyz"};
    const auto ready = co_await m_visit.send(request);
    say(aboutStore(ready));
}

net::awaitable<bool> Doctor::becomeGuest() {
    constexpr auto kAbout = "group";
    const HubVisit::Request request{
        "POST", "/groups", {}, R"({"name":"sorrelwind-hub doctor","platform":"doctor"})"};
    HubReply reply;
    std::optional<Text> failure;
    m_asking = true;
    try {
        reply = co_await m_visit.send(request);
    } catch (const VisitError& error) {
        failure = error.text();
    }
    m_asking = false;
    m_guest = readGuest(reply);
    if (failure)
        say({Level::fail,
             kAbout,
             {"向它申请试连用的设备组时，它%1；如果已经建好，服务器会在一天内忘掉它",
              "asked for a group to try the socket with, it %1; if it made one, it forgets that "
              "within a day",
              {*failure}}});
    else if (reply.status == 429)
        say({Level::warn,
             kAbout,
             {"没有试连，因为这个地址一小时内的检查次数已经用完：请过一小时再来",
              "the socket was not tried, as this address was examined from often enough for now: "
              "come back in an hour"}});
    else if (!m_guest)
        say({Level::fail,
             kAbout,
             {"向它申请试连用的设备组时，它%1",
              "asked for a group to try the socket with, it %1",
              {strangeReply(reply)}}});
    co_return m_guest && !m_interrupted;
}

net::awaitable<void> Doctor::sendLarge() {
    const HubVisit::Request request{"POST", "/items", m_guest->token,
                                    R"({"id":"doctor","ts":0,"mime":"text/plain","payload":")" +
                                        std::string(kLarge, 'A') + "\"}"};
    const auto reply = co_await m_visit.send(request);
    say(aboutLargeRequest(reply, kLarge));
}

net::awaitable<void> Doctor::openSocket() {
    const auto visit = co_await m_visit.openSocket(m_guest->token, std::chrono::seconds(0));
    const auto finding = aboutSocket(visit);
    say(finding);
    if (finding.level == Level::ok && m_idle.count() > 0)
        co_await attempt("idle", kSeeLogs, idle());
}

net::awaitable<void> Doctor::idle() {
    const auto visit = co_await m_visit.openSocket(m_guest->token, m_idle);
    say(visit.hello ? aboutIdling(visit, m_idle) : aboutSocket(visit));
}

net::awaitable<void> Doctor::examine() {
    say(aboutAddress(m_address));
    const bool reached = co_await reach();
    if (!reached)
        co_return;
    if (m_address.tls) {
        const Text advice("请看这个端口上是什么程序；没有 TLS 的服务器，地址以 http:// 开头",
                          "see what listens on this port; the address of a hub without TLS begins "
                          "with http://");
        co_await attempt("certificate", advice, lookAtCertificate());
    }
    if (m_isTls == m_address.tls) {
        const Text noTls("请看这个端口上是什么程序；有 TLS 的服务器，地址以 https:// 开头",
                         "see what listens on this port; the address of a hub with TLS begins "
                         "with https://");
        const Text& advice = m_isTls ? kSeeLogs : noTls;
        co_await attempt("hub", advice, askHealth());
    }
    if (!m_isHub)
        co_return;
    co_await attempt("page", kSeeLogs, askAsPage());
    co_await attempt("store", kSeeLogs, askStore());
    const bool isGuest = co_await becomeGuest();
    if (!isGuest)
        co_return;
    co_await attempt("large", kSeeLogs, sendLarge());
    co_await attempt("websocket", kSeeLogs, openSocket());
}

net::awaitable<int> Doctor::removeGuest() {
    const HubVisit::Request request{"DELETE", "/devices/" + m_guest->id, m_guest->token};
    int status = 0;
    try {
        const auto reply = co_await m_visit.send(request);
        status = reply.status;
    } catch (const VisitError&) {
        status = 0;
    }
    co_return status;
}

net::awaitable<void> Doctor::leave() {
    constexpr int kAttempts = 3;
    net::steady_timer pause(co_await net::this_coro::executor);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const int status = co_await removeGuest();
        if (status == 200 || status == 401) // 401: it is gone already
            co_return;
        boost::system::error_code ignored;
        pause.expires_after(std::chrono::seconds(1));
        co_await pause.async_wait(net::redirect_error(net::use_awaitable, ignored));
    }
    say({Level::fail,
         "group",
         {"试连用的设备组没能删除；服务器会在一天内忘掉它",
          "the group made for this could not be removed again; the hub forgets it within a day"}});
}

int Doctor::run() {
    const auto note = [this](const std::exception_ptr& thrown) {
        try {
            if (thrown)
                std::rethrow_exception(thrown);
        } catch (const std::exception& failure) {
            say({Level::fail, "doctor", failure.what()});
        }
    };
    net::io_context leaving{1};
    net::signal_set held(leaving, SIGINT, SIGTERM); // what is begun is tidied up first
    {
        net::io_context io{1};
        net::signal_set signals(io, SIGINT, SIGTERM);
        signals.async_wait([&](boost::system::error_code error, int) {
            if (error)
                return;
            m_interrupted = true;
            if (!m_asking)
                io.stop();
        });
        net::co_spawn(io, examine(), [&](const std::exception_ptr& thrown) {
            note(thrown);
            signals.cancel();
        });
        io.run();
        if (m_interrupted && !m_guest) { // a name server that does not answer is not waited for
            say({Level::fail, "doctor", interrupted()});
            std::_Exit(1);
        }
    }
    if (m_guest) {
        net::co_spawn(leaving, leave(), note);
        leaving.run();
    }
    if (m_interrupted)
        say({Level::fail, "doctor", interrupted()});
    return m_failed ? 1 : 0;
}

} // namespace

int runDoctor(const DoctorOptions& options) {
    const auto address = HubAddress::parse(options.address);
    if (!address) {
        const Finding finding{Level::fail,
                              "address",
                              {"这不是地址：应该像 https://hub.example 这样",
                               "this is none: it should look like https://hub.example"}};
        std::cout << finding.line(terminalLanguage()) << std::endl;
        return 1;
    }
    return Doctor(*address, options.idle).run();
}

} // namespace sorrelwind::relay
