#pragma once

#include "relay/http_connection.h"
#include "relay/options.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include <vector>

namespace sorrelwind::relay {

/// The process around the hub: listens, hands connections on, keeps the hub's time and obeys
/// signals. Everything runs on the thread that calls `run`.
class Server {
public:
    /// Binds every address; throws StartError when one cannot be had or the certificate is bad.
    Server(const Options& options, Hub& hub, Api& api);
    ~Server();

    /// Serves until SIGTERM or SIGINT and the polite end that follows it, 5 seconds at most.
    void run();

private:
    [[nodiscard]] boost::asio::ip::tcp::acceptor bind(const ListenAddress& address);
    boost::asio::awaitable<void> accept(boost::asio::ip::tcp::acceptor& acceptor);
    boost::asio::awaitable<void> obeySignals();
    boost::asio::awaitable<void> keepTime();
    void serve(boost::asio::ip::tcp::socket socket);
    void reloadTls();
    void stop();
    void leaveWhenEmpty();

    const Options& m_options;
    Hub& m_hub;
    Connections m_connections; ///< before the context, whose end ends the connections
    Service m_service;
    boost::asio::io_context m_io{1};
    std::vector<boost::asio::ip::tcp::acceptor> m_acceptors;
    boost::asio::signal_set m_signals;
    boost::asio::steady_timer m_tick;
    boost::asio::steady_timer m_deadline;
    std::shared_ptr<boost::asio::ssl::context> m_tls;
};

} // namespace sorrelwind::relay
