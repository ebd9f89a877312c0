#include "tests/relay/scripted_server.h"

#include <boost/asio/write.hpp>

#include <memory>

namespace sorrelwind::relay::test {

namespace net = boost::asio;
using boost::system::error_code;
using net::ip::tcp;

namespace {

struct Peer {
    explicit Peer(tcp::socket accepted) : socket(std::move(accepted)) {}
    tcp::socket socket;
    char unread[4096];
};

/// Reads on until the peer goes, so that nothing of it is reset.
void linger(const std::shared_ptr<Peer>& peer) {
    peer->socket.async_read_some(net::buffer(peer->unread), [peer](error_code error, std::size_t) {
        if (!error)
            linger(peer);
    });
}

} // namespace

ScriptedServer::ScriptedServer(std::string answer, Then then)
    : m_answer(std::move(answer)), m_then(then) {
    const tcp::endpoint loopback(net::ip::address_v4::loopback(), 0);
    m_acceptor.open(loopback.protocol());
    m_acceptor.bind(loopback);
    m_acceptor.listen();
    m_port = m_acceptor.local_endpoint().port();
    accept();
    m_thread = std::thread([this] { m_io.run(); });
}

ScriptedServer::~ScriptedServer() {
    m_io.stop();
    m_thread.join();
}

void ScriptedServer::accept() {
    m_acceptor.async_accept([this](error_code error, tcp::socket socket) {
        if (error)
            return;
        const auto peer = std::make_shared<Peer>(std::move(socket));
        const auto answered = [this, peer](error_code, std::size_t) {
            error_code ignored;
            if (m_then == Then::close)
                peer->socket.shutdown(tcp::socket::shutdown_send, ignored);
            linger(peer);
        };
        peer->socket.async_read_some(
            net::buffer(peer->unread), [this, peer, answered](error_code failure, std::size_t) {
                if (!failure)
                    net::async_write(peer->socket, net::buffer(m_answer), answered);
            });
        accept();
    });
}

} // namespace sorrelwind::relay::test
