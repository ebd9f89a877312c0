#include "relay/hub_visit.h"

#include "relay/stream.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/json.hpp>
#include <openssl/err.h>
#include <openssl/x509v3.h>

namespace sorrelwind::relay {

namespace net = boost::asio;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;
using boost::beast::error_code;
using net::ip::tcp;

namespace {

constexpr std::chrono::seconds kConnectTime{5};
constexpr std::size_t kMaxAddresses = 8;
constexpr std::uint32_t kMaxReplyHead = 16u << 10;
constexpr std::uint64_t kMaxReplyBody = 64u << 10;
constexpr std::size_t kMaxFrame = 64u << 10;

[[noreturn]] void giveUp(const Text& doing, error_code error) {
    if (error == boost::beast::error::timeout)
        throw VisitError({"在 %2 秒内没有%1",
                          "did not %1 in %2 seconds",
                          {doing, std::to_string(HubVisit::kPatience.count())}});
    if (error == http::error::end_of_stream || error == http::error::partial_message ||
        error == net::error::eof || error == net::error::connection_reset ||
        error == net::ssl::error::stream_truncated)
        throw VisitError(
            {"关闭了连接，没有%1", "closed the connection instead of going on to %1", {doing}});
    throw VisitError({"没有%1（%2）", "did not %1 (%2)", {doing, error.message()}});
}

bool isHello(const boost::beast::flat_buffer& buffer) {
    const auto data = buffer.cdata();
    error_code error;
    const auto frame =
        boost::json::parse({static_cast<const char*>(data.data()), data.size()}, error);
    const auto* object = error ? nullptr : frame.if_object();
    const auto* type = object ? object->if_contains("type") : nullptr;
    return type && type->is_string() && type->get_string() == "hello";
}

/// Null stands for now; 0 when one of them is no time.
std::int64_t secondsBetween(const ASN1_TIME* from, const ASN1_TIME* to) {
    int days = 0;
    int seconds = 0;
    return ASN1_TIME_diff(&days, &seconds, from, to) == 1 ? std::int64_t{days} * 86400 + seconds
                                                          : 0;
}

} // namespace

HubVisit::HubVisit(HubAddress address) : m_address(std::move(address)) {
    if (!m_address.tls)
        return;
    m_tls = std::make_shared<net::ssl::context>(net::ssl::context::tls_client);
    m_tls->set_verify_mode(net::ssl::verify_none);
    error_code ignored; // without authorities nothing is trusted, which is then what is found
    m_tls->set_default_verify_paths(ignored);
    SSL_CTX_set_min_proto_version(m_tls->native_handle(), TLS1_2_VERSION);
}

net::awaitable<std::vector<tcp::endpoint>> HubVisit::resolve() {
    std::vector<tcp::endpoint> endpoints;
    tcp::resolver resolver(co_await net::this_coro::executor);
    error_code error;
    const auto port = std::to_string(m_address.port);
    const auto results = co_await resolver.async_resolve(
        m_address.host, port, net::redirect_error(net::use_awaitable, error));
    for (const auto& result : results)
        if (endpoints.size() < kMaxAddresses)
            endpoints.push_back(result.endpoint());
    co_return endpoints;
}

net::awaitable<error_code> HubVisit::connect(tcp::endpoint endpoint) {
    boost::beast::tcp_stream stream(co_await net::this_coro::executor);
    error_code error;
    stream.expires_after(kConnectTime);
    co_await stream.async_connect(endpoint, net::redirect_error(net::use_awaitable, error));
    if (!error && m_endpoint.port() == 0)
        m_endpoint = endpoint;
    co_return error;
}

net::awaitable<Stream> HubVisit::open() const {
    boost::beast::tcp_stream plain(co_await net::this_coro::executor);
    error_code error;
    plain.expires_after(kConnectTime);
    co_await plain.async_connect(m_endpoint, net::redirect_error(net::use_awaitable, error));
    if (error)
        giveUp({"接受连接", "accept a connection"}, error);
    plain.expires_never();
    Stream stream(plain.release_socket(), m_tls);
    stream.expiresAfter(kPatience);
    if (!m_tls)
        co_return stream;
    error_code isName;
    net::ip::make_address(m_address.host, isName);
    if (isName) // RFC 6066: an address is no server name
        SSL_set_tlsext_host_name(stream.tls(), m_address.host.c_str());
    ERR_clear_error();
    co_await stream.asyncHandshake(net::ssl::stream_base::client,
                                   net::redirect_error(net::use_awaitable, error));
    if (error)
        giveUp({"进行 TLS 握手", "speak TLS"}, error);
    co_return stream;
}

net::awaitable<PeerCertificate> HubVisit::certificate() {
    Stream stream = co_await open();
    SSL* const tls = stream.tls();
    X509* const shown = SSL_get0_peer_certificate(tls);
    if (!shown)
        throw VisitError({"没有出示证书", "showed no certificate"});
    PeerCertificate certificate;
    certificate.distrust = SSL_get_verify_result(tls);
    const auto& host = m_address.host;
    certificate.namesHost = X509_check_ip_asc(shown, host.c_str(), 0) == 1 ||
                            X509_check_host(shown, host.data(), host.size(), 0, nullptr) == 1;
    const auto* end = X509_get0_notAfter(shown);
    certificate.lifetime = secondsBetween(X509_get0_notBefore(shown), end);
    certificate.secondsLeft = secondsBetween(nullptr, end);
    certificate.protocol = SSL_get_version(tls);
    stream.cut();
    co_return certificate;
}

net::awaitable<HubReply> HubVisit::send(Request request) {
    Stream stream = co_await open();
    http::request<http::string_body> message;
    message.version(11);
    message.method_string(request.method);
    message.target(request.path);
    message.set(http::field::host, m_address.authority());
    message.set(http::field::user_agent, "sorrelwind-hub doctor");
    if (!request.token.empty())
        message.set(http::field::authorization, "Bearer " + request.token);
    if (request.fromPage)
        message.set(http::field::origin, m_address.text());
    if (!request.body.empty())
        message.set(http::field::content_type, "application/json");
    message.keep_alive(false);
    message.body() = std::move(request.body);
    message.prepare_payload();

    error_code error;
    // A refusal may come before the whole body was taken: what is said counts.
    co_await http::async_write(stream, message, net::redirect_error(net::use_awaitable, error));
    http::response_parser<http::string_body> parser;
    parser.header_limit(kMaxReplyHead);
    parser.body_limit(kMaxReplyBody);
    boost::beast::flat_buffer buffer(kMaxReplyHead + kMaxReplyBody);
    co_await http::async_read(stream, buffer, parser,
                              net::redirect_error(net::use_awaitable, error));
    if (error)
        giveUp({"答复", "answer"}, error);
    stream.cut();
    auto& reply = parser.get();
    const auto header = [&](http::field name) { return std::string(reply[name]); };
    HubReply result{static_cast<int>(reply.result_int()),
                    header(http::field::date),
                    header(http::field::location),
                    header(http::field::server),
                    header(http::field::via),
                    std::move(reply.body())};
    co_return result;
}

net::awaitable<SocketVisit> HubVisit::openSocket(std::string token, std::chrono::seconds idle) {
    using Clock = std::chrono::steady_clock;
    Stream stream = co_await open();
    websocket::stream<Stream> socket(std::move(stream));
    websocket::stream_base::timeout timeouts{};
    timeouts.handshake_timeout = kPatience;
    timeouts.idle_timeout = websocket::stream_base::none();
    socket.set_option(timeouts);
    socket.read_message_max(kMaxFrame);

    SocketVisit visit;
    error_code error;
    websocket::response_type response;
    const auto target = "/ws?token=" + token;
    const auto host = m_address.authority();
    co_await socket.async_handshake(response, host, target,
                                    net::redirect_error(net::use_awaitable, error));
    visit.status = static_cast<int>(response.result_int());
    if (error == websocket::error::upgrade_declined)
        co_return visit;
    if (error)
        giveUp({"打开 WebSocket", "open a WebSocket"}, error);

    boost::beast::flat_buffer buffer(kMaxFrame);
    socket.next_layer().expiresAfter(kPatience);
    co_await socket.async_read(buffer, net::redirect_error(net::use_awaitable, error));
    visit.hello = !error && isHello(buffer);
    if (!visit.hello)
        co_return visit;

    auto last = Clock::now();
    socket.control_callback([&](websocket::frame_type kind, boost::beast::string_view) {
        if (kind != websocket::frame_type::ping)
            return;
        ++visit.pings;
        last = Clock::now();
    });
    socket.next_layer().expiresAfter(idle);
    while (!error) {
        buffer.clear();
        last = Clock::now();
        co_await socket.async_read(buffer, net::redirect_error(net::use_awaitable, error));
    }
    visit.stayed = error == boost::beast::error::timeout;
    visit.lasted = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - last);
    socket.next_layer().cut();
    co_return visit;
}

} // namespace sorrelwind::relay
