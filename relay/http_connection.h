#pragma once

#include "relay/api.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>

#include <functional>
#include <memory>
#include <set>
#include <vector>

namespace sorrelwind::relay {

class HttpConnection;

/// The open connections of a server: counted, so that they stay below what the process can hold,
/// and told when it is time to stop. Outlives every connection.
class Connections {
public:
    /// `callback` is called whenever the last one is gone.
    void onEmptied(std::function<void()> callback) { m_emptied = std::move(callback); }
    [[nodiscard]] std::size_t size() const { return m_open.size(); }
    /// Ends the connections that wait for a request; the others end with their next answer.
    void stopIdle();

private:
    friend class HttpConnection;
    std::set<HttpConnection*> m_open;
    std::function<void()> m_emptied;
};

/// What every connection works for.
struct Service {
    Hub& hub;
    Api& api;
    const std::vector<Cidr>& trustedProxies;
    Connections& connections;
};

/// Serves one accepted connection until it ends: HTTP/1.1 requests one after another, and a
/// WebSocket if one of them asks for it. TLS if `tls` is given.
void serveConnection(const Service& service, boost::asio::ip::tcp::socket socket,
                     const std::shared_ptr<boost::asio::ssl::context>& tls);

} // namespace sorrelwind::relay
