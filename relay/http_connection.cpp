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
    // It would be taken for the length of the page that has not changed (RFC 9110, 8.6).
    if (message.result() == http::status::not_modified)
        message.erase(http::field::content_length);
    return message;
}

/// Whether the peer sent something that is not HTTP, rather than nothing more.
bool isMalformed(error_code error) {
    return error.category() == make_error_code(http::error::bad_method).category() &&
           error != http::error::end_of_stream && error != http::error::partial_message;
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
    net::awaitable<bool> awaitRequest();
    net::awaitable<error_code> readBody(Parser& parser, std::uint64_t limit);
    /// Answers what could not be read as a request, if there is someone to answer to.
    net::awaitable<bool> refuse(error_code error, const HttpRequest& request);
    net::awaitable<bool> respond(Response response, const HttpRequest& request, bool keepAlive);
    /// The result looks at both arguments.
    [[nodiscard]] Head headOf(const HttpRequest& request, std::string_view encodings) const;

    Service m_service;
    Address m_peer;
    std::optional<Stream> m_stream; ///< handed on when a WebSocket begins
    boost::beast::flat_buffer m_buffer{kMaxHeader + (64u << 10)};
    bool m_idle = false;
    bool m_first = true;
};

void Connections::stopIdle() {
    for (auto* connection : m_open)
        connection->stopIfIdle();
}

Head HttpConnection::headOf(const HttpRequest& request, std::string_view encodings) const {
    const auto forwarded = listHeader(request, "X-Forwarded-For");
    Head head{view(request.method_string()),
              view(request.target()),
              view(request[http::field::authorization]),
              view(request[http::field::host]),
              view(request[http::field::if_none_match]),
              encodings,
              clientAddress(m_peer, forwarded, m_service.trustedProxies)};
    if (!forwarded.empty())
        head.believed = isTrusted(m_peer, m_service.trustedProxies);
    return head;
}

net::awaitable<void> HttpConnection::serve() {
    error_code error;
    m_stream->expiresAfter(kRequestTime);
    if (m_stream->isTls()) {
        co_await m_stream->asyncHandshake(net::ssl::stream_base::server,
                                          net::redirect_error(net::use_awaitable, error));
        if (error)
            co_return;
    }
    bool more = true;
    while (more)
        more = co_await serveOne();
    if (m_stream)
        co_await m_stream->finish();
}

net::awaitable<bool> HttpConnection::awaitRequest() {
    // The first request shares its time with the TLS handshake; later ones may be waited for.
    if (m_buffer.size() == 0) {
        if (!m_first)
            m_stream->expiresAfter(kIdleTime);
        error_code error;
        const auto room = m_buffer.prepare(4096);
        m_idle = true;
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
    co_return true;
}

net::awaitable<error_code> HttpConnection::readBody(Parser& parser, std::uint64_t limit) {
    error_code error;
    if (parser.is_done())
        co_return error;
    if (limit != 0 && parser.content_length().value_or(0) > limit)
        co_return http::error::body_limit;
    if (limit != 0)
        parser.body_limit(limit);
    if (boost::beast::iequals(parser.get()[http::field::expect], "100-continue")) {
        http::response<http::empty_body> proceed(http::status::continue_, 11);
        co_await http::async_write(*m_stream, proceed,
                                   net::redirect_error(net::use_awaitable, error));
    }
    if (!error)
        co_await http::async_read(*m_stream, m_buffer, parser,
                                  net::redirect_error(net::use_awaitable, error));
    co_return error;
}

net::awaitable<bool> HttpConnection::serveOne() {
    const bool begun = co_await awaitRequest();
    if (!begun)
        co_return false;

    Parser parser;
    parser.header_limit(kMaxHeader);
    parser.body_limit(boost::none); // known once the head has said what is asked for
    error_code error;
    co_await http::async_read_header(*m_stream, m_buffer, parser,
                                     net::redirect_error(net::use_awaitable, error));
    const HttpRequest& request = parser.get();
    if (error)
        co_return co_await refuse(error, request);

    const auto encodings = listHeader(request, "Accept-Encoding");
    const Head head = headOf(request, encodings);
    const bool isSocket = pathOf(head.target) == "/ws";
    if (isSocket && boost::beast::websocket::is_upgrade(request)) {
        auto member = m_service.api.admitSocket(head, Now::read());
        if (member) {
            m_stream->expiresNever();
            auto stream = std::move(*m_stream);
            m_stream.reset();
            co_await runSocket(std::move(stream), parser.release(), m_service.hub,
                               std::move(*member));
            co_return false;
        }
        auto refused = Api::refused(member.error());
        co_return co_await respond(std::move(refused), request, false);
    }

    error = co_await readBody(parser, m_service.api.bodyLimit(head, Now::read()));
    if (error && error != http::error::body_limit)
        co_return co_await refuse(error, request);
    auto response = error      ? m_service.api.tooLarge(head, Now::read())
                    : isSocket ? m_service.api.upgradeNeeded(head, Now::read())
                               : m_service.api.handle(head, request.body(), Now::read());
    co_return co_await respond(std::move(response), request, !error && request.keep_alive());
}

net::awaitable<bool> HttpConnection::refuse(error_code error, const HttpRequest& request) {
    Response response;
    if (error == http::error::header_limit)
        response =
            Api::refused({431, "the head is larger than " + std::to_string(kMaxHeader) + " bytes"});
    else if (isMalformed(error))
        response = Api::refused({400, "this is not an HTTP request"});
    else
        co_return false;
    co_return co_await respond(std::move(response), request, false);
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
