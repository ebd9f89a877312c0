#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

#include <memory>
#include <string>
#include <thread>

namespace sorrelwind::relay::test {

/// Something on a loopback port that is no hub. To each connection's first bytes it answers what
/// it was made with, and then keeps the connection open or closes it.
class ScriptedServer {
public:
    enum class Then { close, stay };

    explicit ScriptedServer(std::string answer, Then then = Then::close)
        : m_answer(std::move(answer)), m_then(then) {
        accept();
        m_thread = std::thread([this] { m_io.run(); });
    }
    ~ScriptedServer() {
        m_io.stop();
        m_thread.join();
    }
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    [[nodiscard]] unsigned short port() const { return m_acceptor.local_endpoint().port(); }

private:
    using tcp = boost::asio::ip::tcp;
    using Error = boost::system::error_code;
    struct Peer {
        explicit Peer(tcp::socket accepted) : socket(std::move(accepted)) {}
        tcp::socket socket;
        char unread[4096];
    };

    void accept() {
        m_acceptor.async_accept([this](Error error, tcp::socket socket) {
            if (error)
                return;
            const auto peer = std::make_shared<Peer>(std::move(socket));
            const auto answered = [this, peer](Error, std::size_t) {
                Error ignored;
                if (m_then == Then::close)
                    peer->socket.shutdown(tcp::socket::shutdown_send, ignored);
                linger(peer);
            };
            peer->socket.async_read_some(boost::asio::buffer(peer->unread), [=, this](Error failure,
                                                                                      std::size_t) {
                if (!failure)
                    boost::asio::async_write(peer->socket, boost::asio::buffer(m_answer), answered);
            });
            accept();
        });
    }
    /// Reads on until the peer goes, so that nothing of it is reset.
    static void linger(const std::shared_ptr<Peer>& peer) {
        peer->socket.async_read_some(boost::asio::buffer(peer->unread),
                                     [peer](Error error, std::size_t) {
                                         if (!error)
                                             linger(peer);
                                     });
    }

    boost::asio::io_context m_io{1};
    tcp::acceptor m_acceptor{m_io, {boost::asio::ip::address_v4::loopback(), 0}};
    std::string m_answer;
    Then m_then;
    std::thread m_thread;
};

} // namespace sorrelwind::relay::test
