#include "relay/http_connection.h"

#include "relay/arriving_body.h"
#include "relay/socket_session.h"
#include "relay/target.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/http/span_body.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include <netinet/tcp.h>

#include <algorithm>
#include <ctime>
#include <optional>

namespace sorrelwind::relay {

namespace net = boost::asio;
namespace http = boost::beast::http;
using boost::beast::error_code;
using Parser = http::request_parser<ArrivingBody>;
using HttpResponse = http::response<http::span_body<const char>>;

namespace {

constexpr std::size_t kPiece = 4096; ///< bytes that are read at once, at first
constexpr int kNotSent = 128 << 10;  ///< bytes that the kernel takes before they can be sent

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

/// It refers to the bytes of `response`.
HttpResponse toHttp(const Response& response, bool keepAlive) {
    HttpResponse message;
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
    const std::string_view body = response.file.empty() ? response.body : response.file;
    message.body() = {body.data(), body.size()};
    message.prepare_payload();
    // It would be taken for the length of the page that has not changed (RFC 9110, 8.6).
    if (message.result() == http::status::not_modified)
        message.erase(http::field::content_length);
    return message;
}

/// What is wrong with a head that could be read (RFC 9112, 3.2 and 6.1).
std::optional<Refusal> faultOf(const HttpRequest& request) {
    if (request.count(http::field::host) != 1)
        return Refusal{400, "a request must have one Host header"};
    if (request.count(http::field::transfer_encoding) != 0 &&
        !boost::beast::iequals(listHeader(request, "Transfer-Encoding"), "chunked"))
        return Refusal{501, "no Transfer-Encoding other than chunked is understood"};
    return std::nullopt;
}

/// Whether the peer sent something that is not HTTP, rather than nothing more.
bool isMalformed(error_code error) {
    return error.category() == make_error_code(http::error::bad_method).category() &&
           error != http::error::end_of_stream && error != http::error::partial_message;
}

} // namespace

/// One connection; its coroutine holds it.
class HttpConnection : public MemoryBudget::Holder,
                       public std::enable_shared_from_this<HttpConnection> {
public:
    HttpConnection(const Service& service, const Address& peer, Stream stream)
        : m_service(service), m_peer(peer), m_isProxy(isTrusted(peer, service.trustedProxies)),
          m_place(service.connections, [this] { m_stream->cut(); }),
          m_memory(service.hub.memory(), limitKey(peer), stream.isTls() ? kTlsBytes : kPlainBytes),
          m_stream(std::move(stream)) {}

    static net::awaitable<void> run(std::shared_ptr<HttpConnection> self) {
        co_await self->serve();
    }

    [[nodiscard]] std::uint64_t weight() const override { return m_body.bytes(); }
    void giveUp() override {
        m_body.resize(0);
        m_stream->cut();
    }

private:
    net::awaitable<void> serve();
    /// Waits for a request and answers it; false when the connection is to end.
    net::awaitable<bool> serveOne();
    net::awaitable<bool> awaitRequest();
    /// Near the limits of connections there is less time for everything.
    [[nodiscard]] std::chrono::seconds patience(std::chrono::seconds usual) const {
        return m_place.crowded() ? std::min(usual, kCrowdedTime) : usual;
    }
    net::awaitable<error_code> readBody(Parser& parser, std::uint64_t limit);
    /// Answers what could not be read as a request, if there is someone to answer to.
    net::awaitable<bool> refuse(error_code error, const HttpRequest& request);
    net::awaitable<bool> respond(Response response, const HttpRequest& request, bool keepAlive);
    /// The result looks at both arguments.
    [[nodiscard]] Head headOf(const HttpRequest& request, std::string_view encodings) const;

    Service m_service;
    Address m_peer;
    bool m_isProxy; ///< whose connections count for the visitor that they come from
    Connections::Place m_place;
    MemoryBudget::Charge m_memory;
    MemoryBudget::Charge m_body;
    std::optional<Stream> m_stream; ///< handed on when a WebSocket begins
    boost::beast::flat_buffer m_buffer{kMaxHeader + (64u << 10)};
    bool m_first = true;
};

Head HttpConnection::headOf(const HttpRequest& request, std::string_view encodings) const {
    const auto forwarded = listHeader(request, "X-Forwarded-For");
    const auto authority = authorityOf(view(request.target()));
    Head head{view(request.method_string()),
              view(request.target()),
              view(request[http::field::authorization]),
              authority.empty() ? view(request[http::field::host]) : authority,
              view(request[http::field::origin]),
              view(request[http::field::content_type]),
              view(request[http::field::if_none_match]),
              encodings,
              clientAddress(m_peer, forwarded, m_service.trustedProxies)};
    head.tls = m_stream->isTls();
    if (!forwarded.empty())
        head.believed = m_isProxy;
    return head;
}

net::awaitable<void> HttpConnection::serve() {
    error_code error;
    const auto now = std::chrono::steady_clock::now();
    if (!m_isProxy && !m_place.moveTo(limitKey(m_peer), now))
        co_return;
    m_place.idle(now);
    m_stream->expiresAfter(patience(kRequestTime));
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
        if (!m_first) {
            const auto now = std::chrono::steady_clock::now();
            if (m_isProxy)
                m_place.moveTo({}, now);
            m_place.idle(now);
            m_stream->expiresAfter(patience(kIdleTime));
        }
        error_code error;
        if (m_buffer.capacity() > kPiece)
            m_buffer.shrink_to_fit();
        const auto room = m_buffer.prepare(kPiece);
        const auto size = co_await m_stream->async_read_some(
            room, net::redirect_error(net::use_awaitable, error));
        if (error)
            co_return false;
        m_buffer.commit(size);
    }
    m_place.busy();
    if (!m_first)
        m_stream->expiresAfter(patience(kRequestTime));
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
    while (!error && !parser.is_done()) {
        co_await http::async_read_some(*m_stream, m_buffer, parser,
                                       net::redirect_error(net::use_awaitable, error));
        m_body.resize(parser.get().body().capacity());
    }
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
    if (const auto fault = faultOf(request)) {
        auto refused = Api::refused(*fault);
        co_return co_await respond(std::move(refused), request, false);
    }

    const auto encodings = listHeader(request, "Accept-Encoding");
    const Head head = headOf(request, encodings);
    if (m_isProxy && !m_place.moveTo(limitKey(head.client), Now::read().steady)) {
        auto refused = Api::refused({429, "too many connections from this address", 5});
        co_return co_await respond(std::move(refused), request, false);
    }
    const bool isSocket = pathOf(head.target) == "/ws";
    if (isSocket && boost::beast::websocket::is_upgrade(request)) {
        auto member = m_service.api.admitSocket(head, Now::read());
        if (member) {
            m_stream->expiresNever();
            auto stream = std::move(*m_stream);
            m_stream.reset();
            m_buffer.clear();
            m_buffer.shrink_to_fit();
            co_await runSocket(std::move(stream), parser.release(), m_service.hub,
                               std::move(*member));
            co_return false;
        }
        auto refused = Api::refused(member.error());
        co_return co_await respond(std::move(refused), request, false);
    }

    const auto limit = m_service.api.bodyLimit(head, Now::read());
    const auto owner = limit.group.empty() ? limitKey(head.client) : limit.group;
    auto& memory = m_service.hub.memory();
    const auto length = parser.content_length().value_or(0);
    if (length > kSmall && (limit.bytes == 0 || length <= limit.bytes) &&
        !memory.admits(owner, length)) {
        auto refused = Api::refused(Hub::memoryFull());
        co_return co_await respond(std::move(refused), request, false);
    }
    m_body = MemoryBudget::Charge(memory, owner, 0, this);
    error = co_await readBody(parser, limit.bytes);
    if (error && error != http::error::body_limit)
        co_return co_await refuse(error, request);
    auto response = error      ? m_service.api.tooLarge(head, Now::read())
                    : isSocket ? m_service.api.upgradeNeeded(head, Now::read())
                               : m_service.api.handle(head, request.body(), Now::read());
    parser.get().body() = std::string();
    m_body = {};
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
    const auto message = toHttp(response, keepAlive);
    m_stream->expiresAfter(patience(kIdleTime));
    if (request.method() == http::verb::head) {
        const http::response<http::empty_body> headOnly(message.base());
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
    // What a peer does not read waits here, where it is counted, rather than in the kernel.
    using NotSent = net::detail::socket_option::integer<IPPROTO_TCP, TCP_NOTSENT_LOWAT>;
    socket.set_option(NotSent(kNotSent), error);
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
