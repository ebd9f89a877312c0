#pragma once

#include "relay/http_connection.h"
#include "relay/options.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include <string>
#include <vector>

namespace sorrelwind::relay {

/// Makes `acceptor` the owner of the address, without listening yet.
boost::system::error_code bindTo(boost::asio::ip::tcp::acceptor& acceptor,
                                 const ListenAddress& address);
/// Throws OptionError for an address that could not be had, StartError if it may be later; does
/// nothing if there is no error.
void refuse(const ListenAddress& address, const boost::system::error_code& error);

/// The process around the hub: listens, hands connections on, keeps the hub's time and obeys
/// signals. Everything runs on the thread that calls `run`.
class Server {
public:
    /// Listens on every address; throws StartError when one cannot be had, OptionError when it
    /// never will or the certificate is bad.
    Server(const Options& options, Hub& hub, Api& api);
    ~Server();

    /// Serves until SIGTERM or SIGINT and the polite end that follows it, 5 seconds at most.
    void run();

private:
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
    std::string m_status; ///< where it listens, for "systemctl status"
};

} // namespace sorrelwind::relay
