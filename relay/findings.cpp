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

Text days(std::int64_t seconds) {
    const auto count = seconds / 86400;
    const auto number = std::to_string(count);
    return {"%1 天", count == 1 ? "%1 day" : "%1 days", {number}};
}

Text whyDistrusted(long reason) {
    switch (reason) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return {
            "它已过期；请续期，然后让服务器（systemctl restart sorrelwind-hub）或代理重新读取它",
            "it has expired; renew it, then let the hub (systemctl restart sorrelwind-hub) or "
            "the proxy read it again"};
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return {"它尚未生效；请核对服务器和这台电脑的时钟",
                "it is not valid yet; compare the clocks of the hub and of this computer"};
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        return {"它是自签名的；请换用公共机构签发的证书，或把你的证书安装到每台设备上",
                "it is signed by itself; take one of a public authority, or install yours on "
                "every device"};
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        return {"这里不认识它的签发者；请连同中间证书提供整条证书链，或把你自己的签发机构安装到每台"
                "设备上",
                "its issuer is unknown here; serve the whole chain with the intermediate "
                "certificates, or install your own authority on every device"};
    default:
        return {"%1；请换用公共机构签发的证书",
                "%1; take one of a public authority",
                {X509_verify_cert_error_string(reason)}};
    }
}

std::string padded(std::string text, std::size_t width) {
    text.append(width - std::min(width, columns(text)), ' ');
    return text;
}

} // namespace

std::string Finding::line(Lang lang) const {
    constexpr std::size_t kLevelWidth = 6;
    constexpr std::size_t kAboutWidth = 13;
    static const Text kLevels[] = {{"正常", "ok"}, {"警告", "warn"}, {"失败", "fail"}};
    static const Text kAbouts[] = {
        {"地址", "address"},  {"连接", "reachable"},  {"证书", "certificate"},
        {"服务器", "hub"},    {"版本", "version"},    {"代理", "proxy"},
        {"页面", "page"},     {"时钟", "clock"},      {"存储", "store"},
        {"设备组", "group"},  {"大段文字", "large"},  {"WebSocket", "websocket"},
        {"空闲连接", "idle"}, {"检查程序", "doctor"},
    };
    const auto* name = std::ranges::find(kAbouts, about, &Text::en);
    const auto& shown = name == std::end(kAbouts) ? std::string(about) : name->in(lang);
    return padded(kLevels[static_cast<std::size_t>(level)].in(lang), kLevelWidth) +
           padded(shown, kAboutWidth) + text.in(lang);
}

Finding aboutAddress(const HubAddress& address) {
    if (address.hasPath)
        return {Level::warn,
                "address",
                {"设备会使用 %1，不带路径：请给服务器一个单独的主机名或端口",
                 "devices use %1 and drop the path: give the hub a host name or a port of its own",
                 {address.text()}}};
    if (!address.tls && !address.isLoopback())
        return {Level::warn,
                "address",
                {"%1 没有 TLS，途中可以读到令牌和配对码：只在你自己的网络里使用",
                 "%1 is without TLS, so tokens and pairing codes can be read on the way: use it in "
                 "a network of your own only",
                 {address.text()}}};
    return {Level::ok, "address", address.text()};
}

Finding aboutCertificate(const PeerCertificate& certificate, const HubAddress& address) {
    if (certificate.distrust != X509_V_OK)
        return {Level::fail,
                "certificate",
                {"设备会拒绝它：%1",
                 "devices will refuse it: %1",
                 {whyDistrusted(certificate.distrust)}}};
    if (!certificate.namesHost)
        return {Level::fail,
                "certificate",
                {"它不是给 %1 的：请取得写有这个主机名的证书",
                 "it is not for %1: get one that names this host",
                 {address.host}}};
    const auto left = days(certificate.secondsLeft);
    // A short-lived one is always near its end; what renews it does so in time for a quarter.
    if (certificate.secondsLeft < std::min(kSoon * 86400, certificate.lifetime / 4))
        return {Level::warn,
                "certificate",
                {"还剩 %1：请现在续期，并让续期自动进行",
                 "%1 left: renew it now, and see to it that this happens by itself",
                 {left}}};
    return {Level::ok,
            "certificate",
            {"受信任，属于 %1，还剩 %2，%3",
             "trusted, for %1, %2 left, %3",
             {address.host, left, certificate.protocol}}};
}

Text strangeReply(const HubReply& reply) {
    const auto status = std::to_string(reply.status);
    if (!reply.location.empty() && reply.status >= 300 && reply.status < 400)
        return {"重定向到了 %1，设备不会跟随：请直接使用最终的地址",
                "answered with a redirection to %1, which devices do not follow: give them the "
                "final address",
                {quoted(reply.location)}};
    const auto error = textIn(objectIn(reply), "error");
    if (!error.empty())
        return {"答复 %1：%2", "answered %1: %2", {status, quoted(error)}};
    if (reply.status >= 502 && reply.status <= 504)
        return {"答复 %1，这是代理连不上服务器时的答复：请看服务器是否在运行，以及是否监听在代理"
                "所找的地方",
                "answered %1, as a proxy does that cannot reach the hub: see whether the hub runs "
                "and listens where the proxy looks for it",
                {status}};
    return {"答复 %1，但不是 Sorrelwind 服务器的答复：请检查主机名和端口，以及代理是否转发所有路径",
            "answered %1, but not as a hub does: check host and port, and whether the proxy passes "
            "every path on",
            {status}};
}

Finding aboutHealth(const HubReply& health) {
    if (saysOk(health))
        return {Level::ok, "hub", {"服务器有答复", "a hub answers"}};
    return {Level::fail, "hub", {"它%1", "it %1", {strangeReply(health)}}};
}

Finding aboutVersion(const HubReply& health, std::string_view own) {
    const auto version = textIn(objectIn(health), "version");
    if (version.empty())
        return {Level::warn,
                "version",
                {"它没有说明版本，所以比 %1 旧：请升级它",
                 "it does not say its version, so it is older than %1: upgrade it",
                 {std::string(own)}}};
    if (version != own)
        return {Level::warn,
                "version",
                {"服务器是 %1，这个程序是 %2：请升级较旧的一个",
                 "the hub is %1, this program %2: upgrade the older one",
                 {quoted(version), std::string(own)}}};
    return {Level::ok, "version", {"%1，与这个程序相同", "%1, as this program", {version}}};
}

Finding aboutProxy(const HubReply& health) {
    const auto forwarded = textIn(objectIn(health), "forwarded");
    if (forwarded == "believed")
        return {Level::ok,
                "proxy",
                {"服务器从代理得知访问者的地址",
                 "the hub learns the addresses of its visitors from a proxy"}};
    if (forwarded == "ignored")
        return {Level::warn,
                "proxy",
                {"服务器不相信代理的 X-Forwarded-For，把所有访问者当成一个：启动它时请加 "
                 "--trusted-proxy 和代理的地址",
                 "the hub takes all visitors for one, as it does not believe the proxy's "
                 "X-Forwarded-For: start it with --trusted-proxy and the proxy's address"}};
    const auto& sign = health.via.empty() ? health.server : health.via;
    if (!sign.empty()) // the hub itself sends neither
        return {Level::warn,
                "proxy",
                {"代理（%1）没有传递 X-Forwarded-For，服务器把所有访问者当成一个：请让它传递，并用 "
                 "--trusted-proxy 启动服务器",
                 "a proxy (%1) passes no X-Forwarded-For on, so the hub takes all visitors for "
                 "one: let it, and start the hub with --trusted-proxy",
                 {quoted(sign)}}};
    return {Level::ok, "proxy", {"没有发现代理", "none to be seen"}};
}

Finding aboutPage(const HubReply& refusal) {
    if (refusal.status == 400)
        return {Level::ok,
                "page",
                {"服务器认得自己的页面，浏览器可以通过它加入",
                 "the hub knows its own page, so that browsers can join by it"}};
    if (refusal.status == 403)
        return {Level::warn,
                "page",
                {"服务器把自己的页面当成了别的网站，浏览器无法加入：请让代理传递浏览器的 "
                 "Host（nginx：proxy_set_header Host $http_host）",
                 "the hub takes its own page for another site's, so that no browser can join: let "
                 "the proxy pass on the browser's Host (nginx: proxy_set_header Host $http_host)"}};
    return {Level::warn,
            "page",
            {"以它自己页面的名义询问时，它%1",
             "asked as by its own page, it %1",
             {strangeReply(refusal)}}};
}

Finding aboutStore(const HubReply& ready) {
    if (saysOk(ready))
        return {Level::ok, "store", {"可以读写", "it can be read and written"}};
    return {Level::fail,
            "store",
            {"它%1；服务器的日志里有更多说明（磁盘满了？）",
             "it %1; the hub's log says more (is the disk full?)",
             {strangeReply(ready)}}};
}

Finding aboutClock(const HubReply& reply, std::int64_t sent, std::int64_t received) {
    const auto date = readHttpDate(reply.date);
    if (!date)
        return {Level::warn,
                "clock",
                {"没有 Date 头，无法比较", "not compared, for want of a Date header"}};
    const auto off = *date < sent ? *date - sent : *date > received ? *date - received : 0;
    if (std::abs(off) <= kClockOff)
        return {Level::ok, "clock", {"与这台电脑一致", "agrees with that of this computer"}};
    return {Level::warn,
            "clock",
            {off < 0 ? "比这台电脑慢 %1 秒：请让两边都与网络时间同步（timedatectl set-ntp true）"
                     : "比这台电脑快 %1 秒：请让两边都与网络时间同步（timedatectl set-ntp true）",
             off < 0 ? "it is %1 seconds behind this computer's: set both by NTP (timedatectl "
                       "set-ntp true)"
                     : "it is %1 seconds ahead of this computer's: set both by NTP (timedatectl "
                       "set-ntp true)",
             {std::to_string(std::abs(off))}}};
}

Finding aboutSocket(const SocketVisit& visit) {
    constexpr auto kAbout = "websocket";
    if (visit.status == 426)
        return {Level::fail,
                kAbout,
                {"代理丢掉了 Upgrade 和 Connection 头：请让它传递（nginx：proxy_http_version 1.1 "
                 "和两行 proxy_set_header）",
                 "the proxy drops the headers Upgrade and Connection: let it pass them on "
                 "(nginx: proxy_http_version 1.1 and two proxy_set_header lines)"}};
    if (visit.status != 101)
        return {Level::fail,
                kAbout,
                {"/ws 的升级得到答复 %1：请让代理把 /ws 连同查询部分转发给服务器",
                 "the upgrade of /ws was answered %1: let the proxy pass /ws to the hub, query "
                 "included",
                 {std::to_string(visit.status)}}};
    if (!visit.hello)
        return {Level::fail,
                kAbout,
                {"连接已打开，但没有收到服务器的问候：中间有什么扣住或改动了数据帧",
                 "it opened, but the hub's greeting did not come: something between holds frames "
                 "back or changes them"}};
    return {Level::ok, kAbout, {"已打开，并收到服务器的问候", "opened, and the hub greeted"}};
}

Finding aboutIdling(const SocketVisit& visit, std::chrono::seconds idle) {
    constexpr auto kAbout = "idle";
    const auto seconds = [](std::chrono::seconds time) {
        return Text("%1 秒", "%1 seconds", {std::to_string(time.count())});
    };
    const auto every = seconds(Heartbeat::kPingEvery);
    if (!visit.stayed)
        return {Level::fail,
                kAbout,
                {"没有数据往来 %1后连接就被关闭了：请把代理的超时调到远高于 %2，服务器每隔这么久发"
                 "一次 ping（nginx：proxy_read_timeout 1h）",
                 "the socket was closed after %1 without traffic: raise the proxy's time-out well "
                 "above %2, in which the hub pings (nginx: proxy_read_timeout 1h)",
                 {seconds(std::chrono::round<std::chrono::seconds>(visit.lasted)), every}}};
    if (idle <= Heartbeat::kPingEvery)
        return {Level::warn,
                kAbout,
                {"保持了 %1，但这说明不了什么：服务器每 %2才发一次 ping，请观察得更久",
                 "stayed open for %1, which proves little: the hub pings every %2, so watch longer "
                 "than that",
                 {seconds(idle), every}}};
    if (visit.pings == 0)
        return {Level::fail,
                kAbout,
                {"连接保持了 %1，但服务器每 %2一次的 ping 没有到达：中间有什么扣住了数据帧",
                 "the socket stayed open for %1 but the hub's ping, due every %2, did not come: "
                 "something between holds frames back",
                 {seconds(idle), every}}};
    return {Level::ok,
            kAbout,
            {"保持了 %1，服务器每 %2一次的 ping 也到达了",
             "stayed open for %1, and the hub's ping, due every %2, came through",
             {seconds(idle), every}}};
}

Finding aboutLargeRequest(const HubReply& reply, std::size_t bytes) {
    constexpr auto kAbout = "large";
    const auto size = std::to_string(bytes >> 20) + " MiB";
    if (reply.status == 200)
        return {Level::ok, kAbout, {"%1 的文字可以通过", "a text of %1 passes", {size}}};
    if (reply.status == 413 && textIn(objectIn(reply), "error").empty())
        return {Level::warn,
                kAbout,
                {"代理不让 %1 的请求通过，设备在连接断开时需要它：请调高代理的上限（nginx："
                 "client_max_body_size 16m）",
                 "the proxy lets no request of %1 pass, which devices need when their socket is "
                 "down: raise its limit (nginx: client_max_body_size 16m)",
                 {size}}};
    return {Level::warn,
            kAbout,
            {"对 %1 的文字，它%2", "to a text of %1 it %2", {size, strangeReply(reply)}}};
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
