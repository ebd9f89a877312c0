#include "relay/http_connection.h"

#include "relay/socket_session.h"
#include "relay/target.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include <ctime>
#include <optional>

namespace sorrelwind::relay {

namespace net = boost::asio;
namespace http = boost::beast::http;
using boost::beast::error_code;
using Parser = http::request_parser<http::string_body>;

namespace {

std::string_view view(boost::beast::string_view text) {
    return {text.data(), text.size()};
}

/// All lines of a header that is a list, as one.
std::string listHeader(const HttpRequest& request, boost::beast::string_view name) {
    std::string list;
    const auto [begin, end] = request.equal_range(name);
    for (auto line = begin; line != end; ++line)
        list.append(list.empty() ? "" : ",").append(view(line->value()));
    return list;
}

/// The time as RFC 9110 wants it in Date.
std::string httpDate() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &utc)};
}

http::response<http::string_body> toHttp(Response response, bool keepAlive) {
    http::response<http::string_body> message;
    message.version(11);
    message.result(static_cast<unsigned>(response.status));
    message.set(http::field::content_type, response.type);
    message.set(http::field::date, httpDate());
    message.set("X-Content-Type-Options", "nosniff");
    for (const auto& [name, value] : response.headers)
        message.set(name, value);
    if (message.find(http::field::cache_control) == message.end())
        message.set(http::field::cache_control, "no-store");
    message.keep_alive(keepAlive);
    message.body() = std::move(response.body);
    message.prepare_payload();
    return message;
}

} // namespace

/// One connection; its coroutine holds it.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
public:
    HttpConnection(const Service& service, const Address& peer, Stream stream)
        : m_service(service), m_peer(peer), m_stream(std::move(stream)) {
        m_service.connections.m_open.insert(this);
    }
    ~HttpConnection() {
        m_service.connections.m_open.erase(this);
        if (m_service.connections.m_open.empty() && m_service.connections.m_emptied)
            m_service.connections.m_emptied();
    }
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    static net::awaitable<void> run(std::shared_ptr<HttpConnection> self) {
        co_await self->serve();
    }
    void stopIfIdle() {
        if (m_idle)
            m_stream->cut();
    }

private:
    net::awaitable<void> serve();
    /// Waits for a request and answers it; false when the connection is to end.
    net::awaitable<bool> serveOne();
    net::awaitable<bool> respond(Response response, const HttpRequest& request, bool keepAlive);
    /// Ends the connection so that the last answer arrives even if the peer is still sending.
    net::awaitable<void> sayGoodbye();
    [[nodiscard]] Head headOf(const HttpRequest& request) const;

    Service m_service;
    Address m_peer;
    std::optional<Stream> m_stream; ///< handed on when a WebSocket begins
    boost::beast::flat_buffer m_buffer{kMaxHeader + (64u << 10)};
    bool m_idle = false;
    bool m_first = true;
    bool m_unread = false; ///< the peer may still be sending what nobody will read
};

void Connections::stopIdle() {
    for (auto* connection : m_open)
        connection->stopIfIdle();
}

Head HttpConnection::headOf(const HttpRequest& request) const {
    const auto forwarded = listHeader(request, "X-Forwarded-For");
    return {view(request.method_string()), view(request.target()),
            view(request[http::field::authorization]), view(request[http::field::if_none_match]),
            clientAddress(m_peer, forwarded, m_service.trustedProxies)};
}

net::awaitable<void> HttpConnection::serve() {
    error_code error;
    m_stream->expiresAfter(kRequestTime);
    if (m_stream->isTls()) {
        co_await m_stream->asyncHandshake(net::redirect_error(net::use_awaitable, error));
        if (error)
            co_return;
    }
    bool more = true;
    while (more)
        more = co_await serveOne();
    if (m_stream)
        co_await sayGoodbye();
}

net::awaitable<bool> HttpConnection::serveOne() {
    error_code error;
    // The first request shares its time with the TLS handshake; later ones may be waited for.
    if (m_buffer.size() == 0) {
        if (!m_first)
            m_stream->expiresAfter(kIdleTime);
        m_idle = true;
        const auto room = m_buffer.prepare(4096);
        const auto size = co_await m_stream->async_read_some(
            room, net::redirect_error(net::use_awaitable, error));
        m_idle = false;
        if (error)
            co_return false;
        m_buffer.commit(size);
    }
    if (!m_first)
        m_stream->expiresAfter(kRequestTime);
    m_first = false;

    Parser parser;
    parser.header_limit(kMaxHeader);
    parser.body_limit(boost::none); // known once the head has said what is asked for
    co_await http::async_read_header(*m_stream, m_buffer, parser,
                                     net::redirect_error(net::use_awaitable, error));
    const HttpRequest& request = parser.get();
    if (error == http::error::header_limit) {
        const Refusal refusal{431,
                              "the head is larger than " + std::to_string(kMaxHeader) + " bytes"};
        m_unread = true;
        co_return co_await respond(Api::refused(refusal), request, false);
    }
    if (error.category() == make_error_code(http::error::bad_method).category() &&
        error != http::error::end_of_stream && error != http::error::partial_message) {
        const Refusal refusal{400, "this is not an HTTP request"};
        m_unread = true;
        co_return co_await respond(Api::refused(refusal), request, false);
    }
    if (error)
        co_return false;

    const Head head = headOf(request);
    const bool isSocket = pathOf(head.target) == "/ws";
    if (isSocket && boost::beast::websocket::is_upgrade(request)) {
        auto member = m_service.api.admitSocket(head, Now::read());
        if (!member)
            co_return co_await respond(Api::refused(member.error()), request, false);
        m_stream->expiresNever();
        auto stream = std::move(*m_stream);
        m_stream.reset();
        co_await runSocket(std::move(stream), parser.release(), m_service.hub, std::move(*member));
        co_return false;
    }

    const auto limit = m_service.api.bodyLimit(head, Now::read());
    bool tooLarge = limit != 0 && parser.content_length().value_or(0) > limit;
    if (!tooLarge && !parser.is_done()) {
        if (limit != 0)
            parser.body_limit(limit);
        if (boost::beast::iequals(request[http::field::expect], "100-continue")) {
            http::response<http::empty_body> proceed(http::status::continue_, 11);
            co_await http::async_write(*m_stream, proceed,
                                       net::redirect_error(net::use_awaitable, error));
        }
        if (!error)
            co_await http::async_read(*m_stream, m_buffer, parser,
                                      net::redirect_error(net::use_awaitable, error));
        tooLarge = error == http::error::body_limit;
        if (error && !tooLarge)
            co_return false;
    }
    if (tooLarge) {
        m_unread = true;
        co_return co_await respond(m_service.api.tooLarge(head, Now::read()), request, false);
    }
    auto response = isSocket ? m_service.api.upgradeNeeded(head, Now::read())
                             : m_service.api.handle(head, request.body(), Now::read());
    co_return co_await respond(std::move(response), request, request.keep_alive());
}

net::awaitable<bool> HttpConnection::respond(Response response, const HttpRequest& request,
                                             bool keepAlive) {
    error_code error;
    keepAlive = keepAlive && !m_service.hub.stopping();
    auto message = toHttp(std::move(response), keepAlive);
    m_stream->expiresAfter(kIdleTime);
    if (request.method() == http::verb::head) {
        http::response<http::empty_body> headOnly(std::move(message.base()));
        co_await http::async_write(*m_stream, headOnly,
                                   net::redirect_error(net::use_awaitable, error));
    } else {
        co_await http::async_write(*m_stream, message,
                                   net::redirect_error(net::use_awaitable, error));
    }
    co_return keepAlive && !error;
}

net::awaitable<void> HttpConnection::sayGoodbye() {
    error_code error;
    m_stream->expiresAfter(kCloseTime);
    if (!m_stream->isTls())
        m_stream->endSending();
    // Closing with unread bytes would reset the connection and take the answer with it.
    while (m_unread && !error) {
        m_buffer.clear();
        const auto room = m_buffer.prepare(kMaxHeader);
        co_await m_stream->async_read_some(room, net::redirect_error(net::use_awaitable, error));
    }
    if (m_stream->isTls() && error != boost::beast::error::timeout)
        co_await m_stream->asyncShutdown(net::redirect_error(net::use_awaitable, error));
    m_stream->cut();
}

void serveConnection(const Service& service, net::ip::tcp::socket socket,
                     const std::shared_ptr<net::ssl::context>& tls) {
    error_code error;
    const auto peer = socket.remote_endpoint(error);
    if (error)
        return;
    socket.set_option(net::ip::tcp::no_delay(true), error);
    const auto executor = socket.get_executor();
    auto connection =
        std::make_shared<HttpConnection>(service, peer.address(), Stream(std::move(socket), tls));
    net::co_spawn(executor, HttpConnection::run(std::move(connection)),
                  [](const std::exception_ptr& thrown) {
                      try {
                          if (thrown)
                              std::rethrow_exception(thrown);
                      } catch (const std::exception& failure) {
                          logEvent(failure.what());
                      }
                  });
}

} // namespace sorrelwind::relay
