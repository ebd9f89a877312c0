#pragma once

#include "relay/arriving_body.h"
#include "relay/hub.h"
#include "relay/stream.h"

#include <boost/asio/awaitable.hpp>

namespace sorrelwind::relay {

/// Accepts the upgrade and runs the member's WebSocket on the connection until it is over. An I/O
/// failure ends this socket only.
[[nodiscard]] boost::asio::awaitable<void> runSocket(Stream stream, HttpRequest upgrade, Hub& hub,
                                                     Member member);

} // namespace sorrelwind::relay
