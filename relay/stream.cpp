#include "relay/stream.h"

#include "relay/limits.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/beast/core/error.hpp>

#include <array>

namespace sorrelwind::relay {

namespace net = boost::asio;

net::awaitable<void> Stream::finish() {
    boost::beast::error_code error;
    m_tcp->expires_after(kCloseTime);
    if (m_tls)
        co_await m_tls->next_layer().async_shutdown(net::redirect_error(net::use_awaitable, error));
    m_tcp->socket().shutdown(net::ip::tcp::socket::shutdown_send, error);
    std::array<char, 4096> unwanted;
    const auto buffer = net::buffer(unwanted);
    while (!error)
        co_await m_tcp->async_read_some(buffer, net::redirect_error(net::use_awaitable, error));
    cut();
}

} // namespace sorrelwind::relay
