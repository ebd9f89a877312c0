#include "relay/stream.h"

#include "relay/limits.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/beast/core/error.hpp>

#include <array>

namespace sorrelwind::relay {

namespace net = boost::asio;

void Stream::expiresAfter(std::chrono::seconds time) {
    if (!isTls()) {
        m_parts->tcp.expires_after(time);
        return;
    }
    m_parts->timer.expires_after(time);
    m_parts->timer.async_wait([weak = std::weak_ptr(m_parts)](boost::beast::error_code error) {
        const auto parts = weak.lock();
        if (!error && parts && parts->timer.expiry() <= std::chrono::steady_clock::now())
            parts->tls->timeOut();
    });
}

void Stream::expiresNever() {
    m_parts->tcp.expires_never();
    m_parts->timer.expires_at(std::chrono::steady_clock::time_point::max());
}

net::awaitable<void> Stream::finish() {
    boost::beast::error_code error;
    expiresNever();
    const auto parts = m_parts; // whoever ends the stream meanwhile
    auto& tcp = parts->tcp;
    tcp.expires_after(kCloseTime);
    if (isTls())
        parts->tls->sayGoodbye();
    tcp.socket().shutdown(net::ip::tcp::socket::shutdown_send, error);
    std::array<char, 4096> unwanted;
    const auto buffer = net::buffer(unwanted);
    while (!error)
        co_await tcp.async_read_some(buffer, net::redirect_error(net::use_awaitable, error));
    cut();
}

} // namespace sorrelwind::relay
