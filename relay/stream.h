#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_stream.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/core/tcp_stream.hpp>

#include <chrono>
#include <memory>

namespace sorrelwind::relay {

/// One connection, plain or TLS, as one type: so Beast's large templates are compiled once.
/// Meets Beast's AsyncStream. Include it in the few files that drive a connection only.
class Stream {
public:
    using executor_type = boost::asio::any_io_executor;

    /// TLS if `tls` is given.
    Stream(boost::asio::ip::tcp::socket socket,
           const std::shared_ptr<boost::asio::ssl::context>& tls)
        : m_tcp(std::make_unique<boost::beast::tcp_stream>(std::move(socket))) {
        if (tls)
            m_tls = std::make_unique<Tls>(*m_tcp, *tls);
    }

    [[nodiscard]] executor_type get_executor() { return m_tcp->get_executor(); }
    [[nodiscard]] bool isTls() const { return m_tls != nullptr; }

    /// The operations that follow fail together when this time is over.
    void expiresAfter(std::chrono::seconds time) { m_tcp->expires_after(time); }
    void expiresNever() { m_tcp->expires_never(); }

    /// OpenSSL's end of the connection, for what is set and asked around the handshake; null if
    /// plain.
    [[nodiscard]] SSL* tls() const { return m_tls ? m_tls->next_layer().native_handle() : nullptr; }
    template <class Token>
    auto asyncHandshake(boost::asio::ssl::stream_base::handshake_type role, Token&& token) {
        return m_tls->next_layer().async_handshake(role, std::forward<Token>(token));
    }
    template <class Buffers, class Token>
    auto async_read_some(const Buffers& buffers, Token&& token) {
        if (m_tls)
            return m_tls->async_read_some(buffers, std::forward<Token>(token));
        return m_tcp->async_read_some(buffers, std::forward<Token>(token));
    }
    template <class Buffers, class Token>
    auto async_write_some(const Buffers& buffers, Token&& token) {
        if (m_tls)
            return m_tls->async_write_some(buffers, std::forward<Token>(token));
        return m_tcp->async_write_some(buffers, std::forward<Token>(token));
    }

    /// Ends the connection at once; what runs on it fails.
    void cut() { m_tcp->close(); }
    /// Ends the connection so that the last bytes sent arrive, even if the peer is still sending:
    /// closing with unread bytes would reset it. Takes `kCloseTime` at most.
    [[nodiscard]] boost::asio::awaitable<void> finish();

    friend void beast_close_socket(Stream& stream) { stream.cut(); }

    /// The end of a WebSocket on this connection. Beast's own does not wait for the peer.
    template <class Handler>
    friend void async_teardown(boost::beast::role_type, Stream& stream, Handler&& handler) {
        boost::asio::co_spawn(
            stream.get_executor(), stream.finish(),
            [done = std::forward<Handler>(handler)](const std::exception_ptr&) mutable {
                done(boost::beast::error_code());
            });
    }

private:
    // flat_stream joins small buffers, of which TLS would make a record each.
    using Tls = boost::beast::flat_stream<boost::asio::ssl::stream<boost::beast::tcp_stream&>>;

    std::unique_ptr<boost::beast::tcp_stream> m_tcp;
    std::unique_ptr<Tls> m_tls;
};

} // namespace sorrelwind::relay
