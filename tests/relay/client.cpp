#include "tests/relay/client.h"

#include "tests/relay/hub_program.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>

#include <algorithm>
#include <stdexcept>

namespace sorrelwind::relay::test {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
namespace json = boost::json;
using beast::error_code;
using net::ip::tcp;

namespace {

tcp::endpoint loopback(unsigned short port) {
    return {net::ip::address_v4::loopback(), port};
}

/// Runs one asynchronous operation to its end; the deadline makes it an error.
template <class Start>
error_code await(net::io_context& io, Start start) {
    std::optional<error_code> result;
    start([&result](error_code error, auto&&...) { result = error; });
    io.restart();
    io.run_for(kPatience * 2);
    if (!result)
        throw std::runtime_error("the hub did not answer in time");
    return *result;
}

void check(error_code error) {
    if (error)
        throw boost::system::system_error(error);
}

} // namespace

struct Http::State {
    net::io_context io;
    tcp::socket socket{io};
    beast::flat_buffer buffer;
};

Http::Http(unsigned short port) : m_state(std::make_unique<State>()) {
    m_state->socket.connect(loopback(port));
}

Http::~Http() = default;

Reply Http::send(const Request& request) {
    http::request<http::string_body> message;
    message.version(11);
    message.method_string(request.method);
    message.target(request.path);
    message.set(http::field::host, "127.0.0.1");
    if (!request.token.empty())
        message.set(http::field::authorization, "Bearer " + request.token);
    if (!request.body.empty())
        message.set(http::field::content_type, "application/json");
    for (const auto& [name, value] : request.headers)
        message.set(name, value);
    message.body() = request.body;
    message.prepare_payload();
    // A refusal may come before the whole body was taken: what was said counts.
    await(m_state->io, [&](auto done) { http::async_write(m_state->socket, message, done); });

    http::response_parser<http::string_body> parser;
    parser.body_limit(64u << 20);
    parser.skip(request.method == "HEAD");
    check(await(m_state->io, [&](auto done) {
        http::async_read(m_state->socket, m_state->buffer, parser, done);
    }));
    Reply reply{static_cast<int>(parser.get().result_int()), {}, parser.get().body()};
    for (const auto& field : parser.get()) {
        std::string name(field.name_string());
        std::transform(name.begin(), name.end(), name.begin(), ::tolower);
        reply.headers[name] = std::string(field.value());
    }
    return reply;
}

Reply request(unsigned short port, const Request& request) {
    return Http(port).send(request);
}

namespace {

Device deviceIn(const Reply& reply) {
    if (reply.status != 200)
        throw std::runtime_error("refused: " + reply.body);
    return {reply.text("groupId"), std::string(reply.json().at("device").at("id").as_string()),
            reply.text("token")};
}

} // namespace

Device createGroup(unsigned short port, const std::string& name) {
    const json::object body{{"name", name}, {"platform", "linux"}};
    return deviceIn(request(port, {"POST", "/groups", json::serialize(body)}));
}

Device joinGroup(unsigned short port, const Device& member, const std::string& name) {
    const auto code = request(port, {"POST", "/pair", {}, member.token}).text("code");
    const json::object body{{"code", code}, {"name", name}, {"platform", "linux"}};
    return deviceIn(request(port, {"POST", "/pair/claim", json::serialize(body)}));
}

json::object item(const std::string& id, const std::string& payload) {
    return {{"id", id}, {"ts", 1700000000000}, {"mime", "text/plain"}, {"payload", payload}};
}

struct Socket::State {
    net::io_context io;
    websocket::stream<tcp::socket> socket{io};
    beast::flat_buffer buffer;
    int status = 101;
};

Socket::Socket(unsigned short port, const std::string& token) : m_state(std::make_unique<State>()) {
    m_state->socket.next_layer().connect(loopback(port));
    m_state->socket.read_message_max(64u << 20);
    websocket::response_type response;
    const auto error = await(m_state->io, [&](auto done) {
        m_state->socket.async_handshake(response, "127.0.0.1", "/ws?token=" + token, done);
    });
    if (error && error != websocket::error::upgrade_declined)
        check(error);
    m_state->status = static_cast<int>(response.result_int());
}

Socket::~Socket() = default;
Socket::Socket(Socket&&) noexcept = default;

int Socket::status() const {
    return m_state->status;
}

void Socket::sendText(const std::string& text) {
    const auto bytes = net::buffer(text);
    check(await(m_state->io, [&](auto done) { m_state->socket.async_write(bytes, done); }));
}

void Socket::send(const json::object& frame) {
    sendText(json::serialize(frame));
}

void Socket::publish(const json::object& published) {
    send({{"type", "publish"}, {"item", published}});
}

std::optional<json::object> Socket::next() {
    m_state->buffer.clear();
    const auto error =
        await(m_state->io, [&](auto done) { m_state->socket.async_read(m_state->buffer, done); });
    if (error)
        return std::nullopt;
    const auto data = m_state->buffer.cdata();
    return json::parse({static_cast<const char*>(data.data()), data.size()}).as_object();
}

json::object Socket::next(std::string_view type) {
    while (auto frame = next())
        if (frame->at("type").as_string() == json::string_view(type.data(), type.size()))
            return std::move(*frame);
    throw std::runtime_error("closed before a frame of type " + std::string(type));
}

int Socket::closeCode() {
    while (next()) {
    }
    return m_state->socket.reason().code;
}

std::string upgradeRequest(const std::string& token) {
    return "GET /ws?token=" + token +
           " HTTP/1.1\r\nHost: h\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
           "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n";
}

struct RawConnection::State {
    net::io_context io;
    tcp::socket socket{io};
};

RawConnection::RawConnection(unsigned short port, const std::string& from)
    : m_state(std::make_unique<State>()) {
    m_state->socket.open(tcp::v4());
    m_state->socket.bind({net::ip::make_address(from), 0});
    m_state->socket.connect(loopback(port));
}

RawConnection::~RawConnection() = default;

void RawConnection::write(std::string_view bytes) {
    net::write(m_state->socket, net::buffer(bytes.data(), bytes.size()));
}

void RawConnection::shutDownSending() {
    m_state->socket.shutdown(tcp::socket::shutdown_send);
}

void RawConnection::readUntil(const std::string& mark) {
    std::string text;
    check(await(m_state->io, [&](auto done) {
        net::async_read_until(m_state->socket, net::dynamic_buffer(text), mark, done);
    }));
}

std::string RawConnection::readToEnd() {
    std::string text;
    await(m_state->io,
          [&](auto done) { net::async_read(m_state->socket, net::dynamic_buffer(text), done); });
    return text;
}

} // namespace sorrelwind::relay::test
