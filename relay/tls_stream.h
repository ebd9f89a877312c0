#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/asio/compose.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/ssl/stream_base.hpp>

#include <boost/beast/core/error.hpp>

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace sorrelwind::relay {

/// TLS over a connected, non-blocking socket that outlives it. OpenSSL works on the socket itself
/// and gives its buffers back whenever they are empty, so an idle connection costs a few KiB;
/// Asio's own stream keeps four buffers of 17 KiB for each. One read and one write at a time.
class TlsStream {
public:
    using Socket = boost::asio::ip::tcp::socket;

    TlsStream(Socket& socket, boost::asio::ssl::context& context)
        : m_state(std::make_shared<State>(socket, context)) {
        boost::system::error_code ignored;
        socket.native_non_blocking(true, ignored);
        SSL_set_mode(handle(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                   SSL_MODE_RELEASE_BUFFERS);
        SSL_set_fd(handle(), socket.native_handle());
    }

    [[nodiscard]] SSL* handle() const { return m_state->ssl.get(); }

    template <class Token>
    auto asyncHandshake(boost::asio::ssl::stream_base::handshake_type role, Token&& token) {
        if (role == boost::asio::ssl::stream_base::server)
            SSL_set_accept_state(handle());
        else
            SSL_set_connect_state(handle());
        const auto step = [](SSL* ssl, std::size_t&) { return SSL_do_handshake(ssl); };
        return run<void(Error)>(step, token);
    }

    template <class Buffers, class Token>
    auto asyncReadSome(const Buffers& buffers, Token&& token) {
        const auto buffer = firstOf<boost::asio::mutable_buffer>(buffers);
        const auto step = [buffer](SSL* ssl, std::size_t& size) {
            return buffer.size() == 0 ? 1 : SSL_read_ex(ssl, buffer.data(), buffer.size(), &size);
        };
        return run<void(Error, std::size_t)>(step, token);
    }

    /// Small buffers go out together, as a record each would be waste.
    template <class Buffers, class Token>
    auto asyncWriteSome(const Buffers& buffers, Token&& token) {
        constexpr std::size_t kRecord = 16u << 10;
        auto buffer = firstOf<boost::asio::const_buffer>(buffers);
        std::shared_ptr<std::string> joined;
        if (const auto all = boost::asio::buffer_size(buffers);
            buffer.size() < kRecord && buffer.size() < all) {
            joined = std::make_shared<std::string>(std::min(all, kRecord), '\0');
            boost::asio::buffer_copy(boost::asio::buffer(*joined), buffers);
            buffer = boost::asio::buffer(*joined);
        }
        const auto step = [buffer, joined](SSL* ssl, std::size_t& size) {
            return buffer.size() == 0 ? 1 : SSL_write_ex(ssl, buffer.data(), buffer.size(), &size);
        };
        return run<void(Error, std::size_t)>(step, token);
    }

    /// What runs fails with Beast's error for that; the socket is closed.
    void timeOut() {
        m_state->timedOut = true;
        boost::system::error_code ignored;
        m_state->socket.close(ignored);
    }

    /// Says that nothing more will come; does not wait for the peer to say so.
    void sayGoodbye() {
        ERR_clear_error();
        if (m_state->socket.is_open() && SSL_is_init_finished(handle()))
            SSL_shutdown(handle());
    }

private:
    using Error = boost::system::error_code;

    struct State {
        State(Socket& socket_, boost::asio::ssl::context& context)
            : socket(socket_), ssl(SSL_new(context.native_handle()), SSL_free) {}

        Socket& socket; ///< gone when an operation ends with an error
        std::unique_ptr<SSL, decltype(&SSL_free)> ssl;
        bool timedOut = false;
    };

    /// One call of OpenSSL, again and again until it need not wait for the socket.
    template <class Signature, class Step>
    struct Operation {
        std::shared_ptr<State> state;
        Step step;
        bool started = false;

        template <class Self>
        void operator()(Self& self, Error error = {}) {
            std::size_t size = 0;
            if (!error && !state->socket.is_open()) // its descriptor may be another's by now
                error = boost::asio::error::operation_aborted;
            if (error && state->timedOut)
                error = boost::beast::error::timeout;
            if (!error) {
                SSL* const ssl = state->ssl.get();
                ERR_clear_error();
                errno = 0;
                const int result = step(ssl, size);
                switch (SSL_get_error(ssl, result)) {
                case SSL_ERROR_NONE:
                    break;
                case SSL_ERROR_WANT_READ:
                    started = true;
                    return state->socket.async_wait(Socket::wait_read, std::move(self));
                case SSL_ERROR_WANT_WRITE:
                    started = true;
                    return state->socket.async_wait(Socket::wait_write, std::move(self));
                default:
                    error = failure(ssl, result);
                }
            }
            if (started)
                return complete(self, error, size);
            const auto executor = state->socket.get_executor();
            boost::asio::post(executor, [self = std::move(self), error, size]() mutable {
                complete(self, error, size);
            });
        }

        template <class Self>
        static void complete(Self& self, Error error, std::size_t size) {
            if constexpr (std::is_same_v<Signature, void(Error)>)
                self.complete(error);
            else
                self.complete(error, size);
        }
    };

    static Error failure(SSL* ssl, int result) {
        const int system = errno;
        const int kind = SSL_get_error(ssl, result);
        if (kind == SSL_ERROR_ZERO_RETURN)
            return boost::asio::error::eof;
        if (const auto code = ERR_get_error();
            code != 0 && ERR_GET_REASON(code) != SSL_R_UNEXPECTED_EOF_WHILE_READING)
            return {static_cast<int>(code), boost::asio::error::get_ssl_category()};
        if (kind == SSL_ERROR_SYSCALL && system != 0)
            return {system, boost::system::system_category()};
        return boost::asio::ssl::error::stream_truncated;
    }

    template <class Buffer, class Buffers>
    static Buffer firstOf(const Buffers& buffers) {
        for (auto at = boost::asio::buffer_sequence_begin(buffers);
             at != boost::asio::buffer_sequence_end(buffers); ++at)
            if (const Buffer buffer = *at; buffer.size() > 0)
                return buffer;
        return {};
    }

    template <class Signature, class Step, class Token>
    auto run(const Step& step, Token& token) {
        return boost::asio::async_compose<Token, Signature>(
            Operation<Signature, Step>{m_state, step}, token, m_state->socket);
    }

    std::shared_ptr<State> m_state;
};

} // namespace sorrelwind::relay
