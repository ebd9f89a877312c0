#pragma once

#include "relay/tls_stream.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream_base.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/core/tcp_stream.hpp>

#include <chrono>
#include <memory>
#include <optional>

namespace sorrelwind::relay {

/// One connection, plain or TLS, as one type: so Beast's large templates are compiled once.
/// Meets Beast's AsyncStream. Include it in the few files that drive a connection only.
class Stream {
public:
    using executor_type = boost::asio::any_io_executor;

    /// TLS if `tls` is given.
    Stream(boost::asio::ip::tcp::socket socket,
           const std::shared_ptr<boost::asio::ssl::context>& tls)
        : m_parts(std::make_shared<Parts>(std::move(socket))) {
        if (tls)
            m_parts->tls.emplace(m_parts->tcp.socket(), *tls);
    }

    [[nodiscard]] executor_type get_executor() { return m_parts->tcp.get_executor(); }
    [[nodiscard]] bool isTls() const { return m_parts->tls.has_value(); }

    /// The operations that follow fail together when this time is over.
    void expiresAfter(std::chrono::seconds time);
    void expiresNever();

    /// OpenSSL's end of the connection, for what is set and asked around the handshake; null if
    /// plain.
    [[nodiscard]] SSL* tls() const { return isTls() ? m_parts->tls->handle() : nullptr; }
    template <class Token>
    auto asyncHandshake(boost::asio::ssl::stream_base::handshake_type role, Token&& token) {
        return m_parts->tls->asyncHandshake(role, std::forward<Token>(token));
    }
    template <class Buffers, class Token>
    auto async_read_some(const Buffers& buffers, Token&& token) {
        if (isTls())
            return m_parts->tls->asyncReadSome(buffers, std::forward<Token>(token));
        return m_parts->tcp.async_read_some(buffers, std::forward<Token>(token));
    }
    template <class Buffers, class Token>
    auto async_write_some(const Buffers& buffers, Token&& token) {
        if (isTls())
            return m_parts->tls->asyncWriteSome(buffers, std::forward<Token>(token));
        return m_parts->tcp.async_write_some(buffers, std::forward<Token>(token));
    }

    /// Ends the connection at once; what runs on it fails.
    void cut() { m_parts->tcp.close(); }
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
    struct Parts {
        explicit Parts(boost::asio::ip::tcp::socket socket)
            : tcp(std::move(socket)), timer(tcp.get_executor()) {}

        boost::beast::tcp_stream tcp;
        std::optional<TlsStream> tls;
        boost::asio::steady_timer timer; ///< of the TLS, which waits for the socket by itself
    };

    std::shared_ptr<Parts> m_parts;
};

} // namespace sorrelwind::relay
