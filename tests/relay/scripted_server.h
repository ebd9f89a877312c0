#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <string>
#include <thread>

namespace sorrelwind::relay::test {

/// Something on a loopback port that is no hub. To each connection's first bytes it answers what
/// it was made with, and then keeps the connection open or closes it.
class ScriptedServer {
public:
    enum class Then { close, stay };

    explicit ScriptedServer(std::string answer, Then then = Then::close);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    [[nodiscard]] unsigned short port() const { return m_port; }

private:
    void accept();

    boost::asio::io_context m_io{1};
    boost::asio::ip::tcp::acceptor m_acceptor{m_io};
    std::string m_answer;
    Then m_then;
    unsigned short m_port = 0;
    std::thread m_thread;
};

} // namespace sorrelwind::relay::test
