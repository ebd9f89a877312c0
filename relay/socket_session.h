#pragma once

#include "relay/hub.h"
#include "relay/stream.h"

#include <boost/asio/awaitable.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

namespace sorrelwind::relay {

using HttpRequest = boost::beast::http::request<boost::beast::http::string_body>;

/// Accepts the upgrade and runs the member's WebSocket on the connection until it is over. An I/O
/// failure ends this socket only.
[[nodiscard]] boost::asio::awaitable<void> runSocket(Stream stream, HttpRequest upgrade, Hub& hub,
                                                     Member member);

} // namespace sorrelwind::relay
