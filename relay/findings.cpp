#include "relay/findings.h"

#include "relay/heartbeat.h"

#include <boost/json.hpp>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace sorrelwind::relay {

namespace {

namespace json = boost::json;
using Level = Finding::Level;

constexpr std::int64_t kSoon = 14; ///< days before its end in which a certificate is to be renewed
constexpr int kClockOff = 30;      ///< seconds that go unnoticed
constexpr std::size_t kQuote = 80; ///< bytes of a text of the other end

/// A text of the other end, fit for a terminal.
std::string quoted(std::string_view text) {
    std::string shown(text.substr(0, kQuote));
    for (char& c : shown)
        if (c < 0x20 || c > 0x7e)
            c = '?';
    return shown;
}

json::object objectIn(const HubReply& reply) {
    boost::system::error_code error;
    auto value = json::parse(reply.body, error);
    return !error && value.is_object() ? std::move(value.get_object()) : json::object();
}

std::string textIn(const json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value && value->is_string() ? std::string(value->get_string()) : std::string();
}

bool saysOk(const HubReply& reply) {
    const auto object = objectIn(reply);
    const auto* value = object.if_contains("ok");
    return reply.status == 200 && value && value->is_bool() && value->get_bool();
}

std::string days(std::int64_t seconds) {
    const auto count = seconds / 86400;
    return std::to_string(count) + (count == 1 ? " day" : " days");
}

std::string whyDistrusted(long reason) {
    switch (reason) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return "it has expired; renew it, then let the hub (systemctl restart sorrelwind-hub) or "
               "the proxy read it again";
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return "it is not valid yet; compare the clocks of the hub and of this computer";
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        return "it is signed by itself; take one of a public authority, or install yours on "
               "every device";
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        return "its issuer is unknown here; serve the whole chain with the intermediate "
               "certificates, or install your own authority on every device";
    default:
        return std::string(X509_verify_cert_error_string(reason)) +
               "; take one of a public authority";
    }
}

} // namespace

std::string Finding::line() const {
    constexpr std::size_t kLevelWidth = 6;
    constexpr std::size_t kAboutWidth = 13;
    std::string line(level == Level::ok ? "ok" : level == Level::warn ? "warn" : "fail");
    line.resize(kLevelWidth, ' ');
    line.append(about);
    line.resize(kLevelWidth + kAboutWidth, ' ');
    return line + text;
}

Finding aboutAddress(const HubAddress& address) {
    if (address.hasPath)
        return {Level::warn, "address",
                "devices use " + address.text() +
                    " and drop the path: give the hub a host name or a port of its own"};
    if (!address.tls && !address.isLoopback())
        return {Level::warn, "address",
                address.text() + " is without TLS, so tokens and pairing codes can be read on the "
                                 "way: use it in a network of your own only"};
    return {Level::ok, "address", address.text()};
}

Finding aboutCertificate(const PeerCertificate& certificate, const HubAddress& address) {
    if (certificate.distrust != X509_V_OK)
        return {Level::fail, "certificate",
                "devices will refuse it: " + whyDistrusted(certificate.distrust)};
    if (!certificate.namesHost)
        return {Level::fail, "certificate",
                "it is not for " + address.host + ": get one that names this host"};
    const auto left = days(certificate.secondsLeft) + " left";
    // A short-lived one is always near its end; what renews it does so in time for a quarter.
    if (certificate.secondsLeft < std::min(kSoon * 86400, certificate.lifetime / 4))
        return {Level::warn, "certificate",
                left + ": renew it now, and see to it that this happens by itself"};
    return {Level::ok, "certificate",
            "trusted, for " + address.host + ", " + left + ", " + certificate.protocol};
}

std::string strangeReply(const HubReply& reply) {
    const auto status = std::to_string(reply.status);
    if (!reply.location.empty() && reply.status >= 300 && reply.status < 400)
        return "answered with a redirection to " + quoted(reply.location) +
               ", which devices do not follow: give them the final address";
    const auto error = textIn(objectIn(reply), "error");
    if (!error.empty())
        return "answered " + status + ": " + quoted(error);
    if (reply.status >= 502 && reply.status <= 504)
        return "answered " + status +
               ", as a proxy does that cannot reach the hub: see whether "
               "the hub runs and listens where the proxy looks for it";
    return "answered " + status +
           ", but not as a hub does: check host and port, and whether the "
           "proxy passes every path on";
}

Finding aboutHealth(const HubReply& health) {
    if (saysOk(health))
        return {Level::ok, "hub", "a hub answers"};
    return {Level::fail, "hub", "it " + strangeReply(health)};
}

Finding aboutVersion(const HubReply& health, std::string_view own) {
    const auto version = textIn(objectIn(health), "version");
    if (version.empty())
        return {Level::warn, "version",
                "it does not say its version, so it is older than " + std::string(own) +
                    ": upgrade it"};
    if (version != own)
        return {Level::warn, "version",
                "the hub is " + quoted(version) + ", this program " + std::string(own) +
                    ": upgrade the older one"};
    return {Level::ok, "version", version + ", as this program"};
}

Finding aboutProxy(const HubReply& health) {
    const auto forwarded = textIn(objectIn(health), "forwarded");
    if (forwarded == "believed")
        return {Level::ok, "proxy", "the hub learns the addresses of its visitors from a proxy"};
    if (forwarded == "ignored")
        return {Level::warn, "proxy",
                "the hub takes all visitors for one, as it does not believe the proxy's "
                "X-Forwarded-For: start it with --trusted-proxy and the proxy's address"};
    const auto& sign = health.via.empty() ? health.server : health.via;
    if (!sign.empty()) // the hub itself sends neither
        return {Level::warn, "proxy",
                "a proxy (" + quoted(sign) +
                    ") passes no X-Forwarded-For on, so the hub takes all "
                    "visitors for one: let it, and start the hub with --trusted-proxy"};
    return {Level::ok, "proxy", "none to be seen"};
}

Finding aboutPage(const HubReply& refusal) {
    if (refusal.status == 400)
        return {Level::ok, "page", "the hub knows its own page, so that browsers can join by it"};
    if (refusal.status == 403)
        return {Level::warn, "page",
                "the hub takes its own page for another site's, so that no browser can join: let "
                "the proxy pass on the browser's Host (nginx: proxy_set_header Host $http_host)"};
    return {Level::warn, "page", "asked as by its own page, it " + strangeReply(refusal)};
}

Finding aboutStore(const HubReply& ready) {
    if (saysOk(ready))
        return {Level::ok, "store", "it can be read and written"};
    return {Level::fail, "store",
            "it " + strangeReply(ready) + "; the hub's log says more (is the disk full?)"};
}

Finding aboutClock(const HubReply& reply, std::int64_t sent, std::int64_t received) {
    const auto date = readHttpDate(reply.date);
    if (!date)
        return {Level::warn, "clock", "not compared, for want of a Date header"};
    const auto off = *date < sent ? *date - sent : *date > received ? *date - received : 0;
    if (std::abs(off) <= kClockOff)
        return {Level::ok, "clock", "agrees with that of this computer"};
    return {Level::warn, "clock",
            "it is " + std::to_string(std::abs(off)) + " seconds " +
                (off < 0 ? "behind" : "ahead of") +
                " this computer's: set both by NTP (timedatectl set-ntp true)"};
}

Finding aboutSocket(const SocketVisit& visit) {
    constexpr auto kAbout = "websocket";
    if (visit.status == 426)
        return {Level::fail, kAbout,
                "the proxy drops the headers Upgrade and Connection: let it pass them on "
                "(nginx: proxy_http_version 1.1 and two proxy_set_header lines)"};
    if (visit.status != 101)
        return {Level::fail, kAbout,
                "the upgrade of /ws was answered " + std::to_string(visit.status) +
                    ": let the proxy pass /ws to the hub, query included"};
    if (!visit.hello)
        return {Level::fail, kAbout,
                "it opened, but the hub's greeting did not come: something between holds frames "
                "back or changes them"};
    return {Level::ok, kAbout, "opened, and the hub greeted"};
}

Finding aboutIdling(const SocketVisit& visit, std::chrono::seconds idle) {
    constexpr auto kAbout = "idle";
    const auto every = std::to_string(Heartbeat::kPingEvery.count()) + " seconds";
    const auto seconds = std::to_string(idle.count()) + " seconds";
    if (!visit.stayed)
        return {Level::fail, kAbout,
                "the socket was closed after " +
                    std::to_string(std::chrono::round<std::chrono::seconds>(visit.lasted).count()) +
                    " seconds without traffic: raise the proxy's time-out well above " + every +
                    ", in which the hub pings (nginx: proxy_read_timeout 1h)"};
    if (idle <= Heartbeat::kPingEvery)
        return {Level::warn, kAbout,
                "stayed open for " + seconds + ", which proves little: the hub pings every " +
                    every + ", so watch longer than that"};
    if (visit.pings == 0)
        return {Level::fail, kAbout,
                "the socket stayed open for " + seconds + " but the hub's ping, due every " +
                    every + ", did not come: something between holds frames back"};
    return {Level::ok, kAbout,
            "stayed open for " + seconds + ", and the hub's ping, due every " + every +
                ", came through"};
}

Finding aboutLargeRequest(const HubReply& reply, std::size_t bytes) {
    constexpr auto kAbout = "large";
    const auto size = std::to_string(bytes >> 20) + " MiB";
    if (reply.status == 200)
        return {Level::ok, kAbout, "a text of " + size + " passes"};
    if (reply.status == 413 && textIn(objectIn(reply), "error").empty())
        return {Level::warn, kAbout,
                "the proxy lets no request of " + size +
                    " pass, which devices need when their "
                    "socket is down: raise its limit (nginx: client_max_body_size 16m)"};
    return {Level::warn, kAbout, "to a text of " + size + " it " + strangeReply(reply)};
}

std::optional<Guest> readGuest(const HubReply& reply) {
    const auto object = objectIn(reply);
    const auto* device = object.if_contains("device");
    Guest guest{device && device->is_object() ? textIn(device->get_object(), "id") : "",
                textIn(object, "token")};
    const auto isWord = [](const std::string& text) {
        constexpr auto kAllowed =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
        return !text.empty() && text.size() <= 128 &&
               text.find_first_not_of(kAllowed) == std::string::npos;
    };
    if (reply.status != 200 || !isWord(guest.id) || !isWord(guest.token))
        return std::nullopt;
    return guest;
}

std::optional<std::int64_t> readHttpDate(const std::string& text) {
    std::tm utc{};
    const char* end = ::strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &utc);
    if (!end || *end != '\0')
        return std::nullopt;
    return ::timegm(&utc);
}

} // namespace sorrelwind::relay
