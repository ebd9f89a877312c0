#pragma once

#include "relay/api.h"
#include "relay/connections.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>

#include <memory>
#include <vector>

namespace sorrelwind::relay {

/// What every connection works for.
struct Service {
    Hub& hub;
    Api& api;
    const std::vector<Cidr>& trustedProxies;
    Connections& connections;
};

/// Roughly what a connection takes by itself, in bytes.
inline constexpr std::size_t kPlainBytes = 16u << 10;
inline constexpr std::size_t kTlsBytes = 32u << 10;

/// Serves one accepted connection until it ends: HTTP/1.1 requests one after another, and a
/// WebSocket if one of them asks for it. TLS if `tls` is given. Closes it when its address has too
/// many.
void serveConnection(const Service& service, boost::asio::ip::tcp::socket socket,
                     const std::shared_ptr<boost::asio::ssl::context>& tls);

} // namespace sorrelwind::relay
